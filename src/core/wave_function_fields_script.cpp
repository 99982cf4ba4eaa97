#include "core/wave_function_fields_script.h"

#include <cfloat>
#include <cstdio>

#include "core/determinant_script.h"
#include "core/method_script.h"
#include "core/space_script.h"
#include "core/state_file.h"
#include "host/base/text.h"

namespace fermix {

namespace {

// --- Methods

// .Chop([epsilon]), in place
int WavefunctionChop(lua_State* L) {
  WaveFunctionType& psi = MethodSelf<WaveFunctionType>(L);
  const int n = lua_gettop(L);
  if (n > 1) return luaL_error(L, "Errorr, call to chop with %d arguments, expected 0 or 1\n", n);
  constexpr double defaultThreshold = 10 * DBL_EPSILON;
  WaveFunctionTruncateBasis(psi, n == 1 ? CheckThreshold(L, 1) : defaultThreshold);
  return 0;
}

// .Conjugate(), in place
int WavefunctionConjugate(lua_State* L) {
  WaveFunctionConjugate(MethodSelf<WaveFunctionType>(L));
  return 0;
}

// The number of an element that argument 1 of a method gives.
struct ElementTexts {
  const char *type, *range;  // "%d": N; "%d %d": argument, N
};
std::uint32_t CheckElement(lua_State* L, const WaveFunctionType& psi, const ElementTexts& texts) {
  const int N = static_cast<int>(ElementCount(psi));
  if (lua_gettop(L) != 1 || !lua_isnumber(L, 1) || !QInteger(lua_tonumber(L, 1)))
    luaL_error(L, texts.type, N);
  const int i = CheckRounded(L, 1);
  if (i < 1 || i > N) luaL_error(L, texts.range, i, N);
  return static_cast<std::uint32_t>(i);
}

// .Det(i): a state with that element alone
int WavefunctionDet(lua_State* L) {
  const WaveFunctionType& psi = MethodSelf<WaveFunctionType>(L);
  const std::uint32_t i =
      CheckElement(L, psi,
                   {"Error in .Det(arg) arg should be an integer between 1 and .N (%d)\n",
                    "Error in .Det(arg = %d) arg should be an integer between 1 and .N (%d)\n"});
  char text[100];
  std::snprintf(text, sizeof text, "Error in .Det(%u) WaveFunctionInit failed out of memory?", i);

  WaveFunctionType result = OrScriptError(text, [&] {
    WaveFunctionType det(Layout(psi), QComplex(psi), psi.basis->NBitsKey);
    WaveFunctionAddElement(det, ElementKey(psi, i), ElementValue(psi, i));
    det.Name = RecordName((psi.Name + ".Det(" + std::to_string(i) + ")").c_str());
    return det;
  });

  return lua_push(L, std::move(result));
}

// .PrefactorDet(i), .PrefactorDet(text): the value of an element; 0 if there is no such determinant
int WavefunctionPrefactorDet(lua_State* L) {
  const WaveFunctionType& psi = MethodSelf<WaveFunctionType>(L);
  constexpr ElementTexts texts = {
      "Error in .PrefactorDet(arg) arg should be an integer between 1 and .N (%d) or a string representing "
      "the determinant\n",
      "Error in .PrefactorDet(arg = %d) arg should be an integer between 1 and .N (%d) or a string "
      "representing the determinant\n"};
  if (lua_gettop(L) != 1 || lua_type(L, 1) != LUA_TSTRING)
    return lua_push(L, ElementValue(psi, CheckElement(L, psi, texts)));
  std::string text;
  lua_check(L, 1, text);
  const KeyLayout& layout = Layout(psi);
  if (!QDeterminantText(text, layout)) luaL_error(L, texts.type, static_cast<int>(ElementCount(psi)));
  const std::uint32_t i = BasisFind(*psi.basis, StringToDet(layout.NFermion, layout.NBoson, text).data());
  return lua_push(L, i ? ElementValue(psi, i) : Complex16(0));
}

// .Print([options])
int WavefunctionPrint(lua_State* L) {
  const WaveFunctionType& psi = MethodSelf<WaveFunctionType>(L);
  const int n = lua_gettop(L);
  if (n > 1 || (n == 1 && !lua_istable(L, 1)))
    return luaL_error(L, "Error in .Print(arg) unrecognized arguments in Print()\n");
  std::string file;
  bool Full = false, Binary = false, Plain = false;
  if (n == 1)
    LuaCheckOptions(
        L, 1,
        {Option("file", &file), Option("Full", &Full), Option("Binary", &Binary), Option("Plain", &Plain)});
  if (Full && Binary)
    return luaL_error(L, "Error in .Print(arg) Binary and full text format are exclusive\n");
  if (Binary && file.empty())
    return luaL_error(L, "Error in .Print(arg) Binary mode only allowed for printing to file\n");

  WaveFunctionPrinter printer = Full ? StreamPrintWaveFunctionFullReadable : StreamPrintWaveFunctionReadable;
  if (file.empty()) {
    static_cast<void>(printer(psi, stdout));
    std::fflush(stdout);
    return 0;
  }
  if (!Full && Binary) printer = StreamPrintWaveFunctionPlainBinary;
  if (!Full && !Binary && Plain) printer = StreamPrintWaveFunctionPlain;
  if (FilePrintWaveFunction(printer, psi, file.c_str(), "w"))
    ScriptError(L, "Error in .Print(arg) can't write to file %s\n", file.c_str());
  return 0;
}

int WavefunctionRandomize(lua_State* L) {
  WaveFunctionType& psi = MethodSelf<WaveFunctionType>(L);
  if (lua_gettop(L) != 0)
    return luaL_error(L, "Error in .Randomize(arg) unrecognized arguments in Randomize()\n");
  if (ElementCount(psi)) WaveFunctionRandomize(psi);
  return 0;
}

int WavefunctionNormalize(lua_State* L) {
  WaveFunctionNormalize(MethodSelf<WaveFunctionType>(L));
  return 0;
}

constexpr ScriptMethod methods[] = {{"Chop", Entry<WavefunctionChop>},
                                    {"Conjugate", Entry<WavefunctionConjugate>},
                                    {"C", Entry<WavefunctionConjugate>},
                                    {"Det", Entry<WavefunctionDet>},
                                    {"PrefactorDet", Entry<WavefunctionPrefactorDet>},
                                    {"Print", Entry<WavefunctionPrint>},
                                    {"Randomize", Entry<WavefunctionRandomize>},
                                    {"Normalize", Entry<WavefunctionNormalize>}};

// --- Fields

void ChangeSpace(lua_State* L, WaveFunctionType& psi, KeyLayout layout) {
  if (WaveFunctionChangeNFandNB(psi, layout.NFermion, layout.NBoson))
    luaL_error(L, "Internal error in WaveFunctionChangeNFandNB\n");
}

constexpr ParticleLimit Limit = {MaxStateParticles, "2^16 = 65535"};

void SetNFermion(lua_State* L, WaveFunctionType& psi) {
  const auto [NF, NB] = Layout(psi);
  ChangeSpace(L, psi, {CheckCount(L, Limit, "fermions", NF, "bosons", NB), NB});
}

void SetNBoson(lua_State* L, WaveFunctionType& psi) {
  const auto [NF, NB] = Layout(psi);
  ChangeSpace(L, psi, {NF, CheckCount(L, Limit, "bosons", NB, "fermions", NF)});
  luaL_error(L, "Current version does not suport Bosons\n");  // the change stays
}

void SetNBitsKey(lua_State* L, WaveFunctionType& psi) {
  const double x = luaL_checknumber(L, 3);
  if (!(x > -0.5 && x <= MaxNBitsKey)) luaL_error(L, "Internal error in WaveFunctionResetKeylist\n");
  const auto NBitsKey = static_cast<std::uint32_t>(CheckRounded(L, 3));
  OrScriptError("Internal error in WaveFunctionResetKeylist\n",
                [&] { WaveFunctionResetKeylist(psi, NBitsKey); });
}

}  // namespace

int LuaWavefunctionIndex(lua_State* L) {
  const WaveFunctionType& psi = *CheckRecord<WaveFunctionType>(L, 1);
  const std::string key = CheckText(L, 2);
  if (key == "Name") return lua_push(L, psi.Name);
  if (key == "N") return lua_push(L, double(ElementCount(psi)));
  if (key == "NF") return lua_push(L, double(Layout(psi).NFermion));
  if (key == "NB") return lua_push(L, double(Layout(psi).NBoson));
  if (key == "NBitsKey") return lua_push(L, double(psi.basis->NBitsKey));
  if (key == "Complex") return lua_pushboolean(L, QComplex(psi)), 1;
  if (PushMethod(L, methods, key)) return 1;
  ScriptError(L, "Error operation \".%s()\" not defined on wavefunction\n", key.c_str());
}

int LuaWavefunctionNewIndex(lua_State* L) {
  WaveFunctionType& psi = *CheckRecord<WaveFunctionType>(L, 1);
  const std::string key = CheckText(L, 2);
  if (key == "Name") {
    psi.Name = RecordName(CheckText(L, 3).c_str());
  } else if (key == "NF") {
    SetNFermion(L, psi);
  } else if (key == "NB") {
    SetNBoson(L, psi);
  } else if (key == "NBitsKey") {
    SetNBitsKey(L, psi);
  } else if (key == "Complex") {
    ScriptError(L,
                "Errorr, you can not change the value Complex of a wavefunction %s.\nIn order to change you "
                "have to modify the wavefunction itselves, the value of Complex will follow automatically.",
                psi.Name.c_str());
  } else if (key == "N") {
    ScriptError(L,
                "Errorr, you can not change the value representing the number of determinants in %s\nIf you "
                "add or remove determinants from the wavefunction the number will follow automatically.",
                psi.Name.c_str());
  } else if (key == "Det" || key == "PrefactorDet") {
    ScriptError(L, "Errorr, you can not change the value of a determiant via indexing for wavefunction %s",
                psi.Name.c_str());
  } else {
    ScriptError(L, "Error index %s not found in Wavefunction Object\n", key.c_str());
  }
  return 0;
}

int LuaWavefunctionToString(lua_State* L) {
  return lua_push(L, StringPrintWaveFunctionReadable(*CheckRecord<WaveFunctionType>(L, 1)));
}

}  // namespace fermix
