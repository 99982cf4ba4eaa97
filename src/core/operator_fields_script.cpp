#include "core/operator_fields_script.h"

#include <cfloat>
#include <cstdio>

#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_print.h"
#include "core/restriction_script.h"
#include "core/space_script.h"
#include "host/base/text.h"

namespace fermix {

namespace {

// Writes text to the file at path, or to standard output if path is empty.
void WriteText(lua_State* L, const std::string& text, const std::string& path) {
  if (path.empty()) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    return;
  }
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) {
    Say("ERROR\nCan't open %s for writing with mode %s.\n", path.c_str(), "w");
    ScriptError(L, "Error in .Print(arg) can't write to file %s\n", path.c_str());
  }
  bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  written &= std::fclose(file) == 0;
  if (!written) ScriptError(L, "Error in .Print(arg) can't write to file %s\n", path.c_str());
}

// --- Methods

// .Print([options])
int OperatorPrint(lua_State* L) {
  const OperatorType& O = MethodSelf<OperatorType>(L);
  const int n = lua_gettop(L);
  if (n > 1) return luaL_error(L, "Error in .Print(arg) unrecognized arguments in Print()\n");
  std::string file;
  bool Full = false;
  if (n == 1) LuaCheckOptions(L, 1, {Option("file", &file), Option("Full", &Full)});
  WriteText(L, Full ? StringPrintOperatorFullReadable(O) : StringPrintOperatorReadable(O), file);
  return 0;
}

// .Chop([epsilon]), in place
int OperatorChop(lua_State* L) {
  OperatorType& O = MethodSelf<OperatorType>(L);
  const int n = lua_gettop(L);
  if (n > 1) return luaL_error(L, "Errorr, call to chop with %d arguments, expected 0 or 1\n", n);
  constexpr double defaultThreshold = 10 * DBL_EPSILON;
  const double epsilon = n == 1 ? CheckThreshold(L, 1) : defaultThreshold;

  OperatorRemoveSmallValues(O, epsilon);
  OperatorSetMaxLength(O);
  return 0;
}

// .Conjugate(), in place; it does not transpose, also under its name Dag
int OperatorConjugate(lua_State* L) {
  OperatorType& O = MethodSelf<OperatorType>(L);
  if (lua_gettop(L) != 0)
    return luaL_error(L, "Error in .Conjugate(arg) unrecognized arguments in Conjugate()\n");
  OperatorComplexConjugate(O);
  return 0;
}

int OperatorConjugateTranspose(lua_State* L) {
  const OperatorType& O = MethodSelf<OperatorType>(L);
  if (lua_gettop(L) != 0)
    return luaL_error(L,
                      "Error in .ConjugateTranspose(arg) unrecognized arguments in ConjugateTranspose()\n");
  return lua_push(L, OperatorConjugateTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc));
}

int OperatorTranspose(lua_State* L) {
  const OperatorType& O = MethodSelf<OperatorType>(L);
  if (lua_gettop(L) != 0)
    return luaL_error(L, "Error in .Transpose(arg) unrecognized arguments in Transpose()\n");
  return lua_push(L, OperatorTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc));
}

constexpr ScriptMethod methods[] = {{"Print", Entry<OperatorPrint>},
                                    {"Chop", Entry<OperatorChop>},
                                    {"Conjugate", Entry<OperatorConjugate>},
                                    {"C", Entry<OperatorConjugate>},
                                    {"Dag", Entry<OperatorConjugate>},
                                    {"ConjugateTranspose", Entry<OperatorConjugateTranspose>},
                                    {"CT", Entry<OperatorConjugateTranspose>},
                                    {"Transpose", Entry<OperatorTranspose>},
                                    {"T", Entry<OperatorTranspose>}};

// --- Fields

// t[0] the number of constants, t[i] that of strings of length i.
int PushTermCounts(lua_State* L, const OperatorType& O) {
  std::vector<std::uint32_t> counts;  // read first: a new table may run finalisers, and one may release O
  for (const OperatorFixedLengthType& terms : O.l) counts.push_back(TermCount(terms));
  lua_createtable(L, static_cast<int>(counts.size()), 1);
  for (std::size_t length = 0; length < counts.size(); ++length) {
    lua_push(L, double(counts[length]));
    lua_rawseti(L, -2, static_cast<int>(length));
  }
  return 1;
}

// The most that a ladder index of 15 bits can tell apart.
constexpr ParticleLimit Limit = {32768, "2^15 = 32768"};

void ChangeSpace(lua_State* L, OperatorType& O, std::uint32_t NFermion, std::uint32_t NBoson) {
  if (OperatorChangeNFandNB(O, NFermion, NBoson)) luaL_error(L, "Internal error in OperatorChangeNFandNB\n");
}

void SetNFermion(lua_State* L, OperatorType& O) {
  const auto [NF, NB] = O.layout;
  ChangeSpace(L, O, CheckCount(L, Limit, "fermions", NF, "bosons", NB), NB);
}

void SetNBoson(lua_State* L, OperatorType& O) {
  const auto [NF, NB] = O.layout;
  ChangeSpace(L, O, NF, CheckCount(L, Limit, "bosons", NB, "fermions", NF));
  luaL_error(L, "Current version does not suport Bosons\n");  // the change stays
}

// The old restrictions are gone also when the new ones are refused.
void SetRestrictions(lua_State* L, OperatorType& O) {
  O.Restrictions = {};
  if (lua_isnoneornil(L, 3)) return;
  luaL_checktype(L, 3, LUA_TTABLE);
  DeterminantRestrictionType R;
  lua_rawgeti(L, 3, 1);
  lua_rawgeti(L, 3, 2);
  const bool counts = lua_isnumber(L, -2) && lua_isnumber(L, -1);
  if (counts) {  // before the masks, which would fail on a wrong count with a worse text
    R.Masks.resize(1);
    lua_check(L, -2, R.layout.NFermion);
    lua_check(L, -1, R.layout.NBoson);
    CheckRestrictionsFit(L, R, O.layout);
  }
  lua_pop(L, 2);
  luaL_setarray_DeterminatRestrictionType(L, 3, &R);
  CheckRestrictionsFit(L, R, O.layout);
  O.Restrictions = std::move(R);
}

}  // namespace

int LuaOperatorIndex(lua_State* L) {
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  const std::string key = CheckText(L, 2);
  if (key == "Name") return lua_push(L, O.Name);
  if (key == "NF") return lua_push(L, double(O.layout.NFermion));
  if (key == "NB") return lua_push(L, double(O.layout.NBoson));
  if (key == "Complex") return lua_pushboolean(L, QComplex(O) != 0), 1;
  if (key == "N") return PushTermCounts(L, O);
  if (key == "Offset") return lua_push(L, ConstantTerm(O));
  if (key == "Restrictions") return LuaPushTable_Restrictions(L, O.Restrictions);
  if (key == "IndexShift") return luaL_error(L, "IndexShift not yet implemented as method");
  if (PushMethod(L, methods, key)) return 1;
  return luaL_error(L, "Error operator variable not found");
}

int LuaOperatorNewIndex(lua_State* L) {
  OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  const std::string key = CheckText(L, 2);
  if (key == "Name") {
    O.Name = RecordName(CheckText(L, 3).c_str());
  } else if (key == "NF") {
    SetNFermion(L, O);
  } else if (key == "NB") {
    SetNBoson(L, O);
  } else if (key == "Restrictions") {
    SetRestrictions(L, O);
  } else if (key == "Complex") {
    ScriptError(
        L,
        "Errorr, you can not change the value Complex of an operator %s.\nIn order to change you have "
        "to modify the operator itselves, the value of Complex will follow automatically.",
        O.Name.c_str());
  } else if (key == "N") {
    ScriptError(L,
                "Errorr, you can not change the value representing the number of operators in %s\nIf you add "
                "or subtract something from the operator the number will follow automatically.",
                O.Name.c_str());
  } else {
    ScriptError(L, "Error index %s not found in Operator Object\n", key.c_str());
  }
  return 0;
}

int LuaOperatorToString(lua_State* L) {
  return lua_push(L, StringPrintOperatorReadable(*CheckRecord<OperatorType>(L, 1)));
}

}  // namespace fermix
