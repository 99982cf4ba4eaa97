#include "spectra/spectrum_script.h"

#include "spectra/spectrum_arithmetic.h"
#include "spectra/spectrum_methods_script.h"

namespace fermix {

namespace {

// --- Methods and free functions: one body each

// The body of an operation on a bundle. Its arguments stand at first, first + 1, ...: a method has its bundle
// as upvalue and begins at 1, a free function has it as argument 1 and begins at 2.
using Body = int (*)(lua_State* L, SpectraTypeArray& S, int first);

template <Body body>
int Method(lua_State* L) {
  return body(L, *CheckRecord<SpectraTypeArray>(L, lua_upvalueindex(1)), 1);
}

template <Body body>
int FreeFunction(lua_State* L) {
  auto* S = TestRecord<SpectraTypeArray>(L, 1);
  // Without a bundle the body still counts its arguments before anything else is said.
  SpectraTypeArray none;
  return body(L, S ? *S : none, 2);
}

// Number of arguments, the bundle of a free function included.
bool QArguments(lua_State* L, int first, int expected) { return lua_gettop(L) == first - 1 + expected; }

// A free function's first argument; its body calls this after it has counted.
void CheckBundle(lua_State* L, int first, const char* name) {
  if (first == 2 && !TestRecord<SpectraTypeArray>(L, 1))
    luaL_error(L, "Error Spectra.%s first element should be of spectra type\n", name);
}

int Broaden(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 2))
    return luaL_error(L, "Error Spectra.Broaden called with %d arguments, %d arguments expected\n",
                      lua_gettop(L), first + 1);
  CheckBundle(L, first, "Broaden");
  BroadenFromArguments(L, S.spectra, first);
  if (first == 1) return 0;
  lua_pushvalue(L, 1);
  return 1;
}

int Shift(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 1))
    return luaL_error(L,
                      first == 1 ? "Error Spectra.Shift called with %d arguments, 1 argument expected\n"
                                 : "Error Spectra.Shift called with %d arguments, 2 arguments expected\n",
                      lua_gettop(L));
  CheckBundle(L, first, "Shift");
  ShiftFromArgument(L, S.spectra, first);
  return 0;
}

int MultiplyByEnergy(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 0))
    return luaL_error(L,
                      first == 1
                          ? "Error Spectra.MultiplyByEnergy called with %d arguments, 0 arguments expected\n"
                          : "Error Spectra.MultiplyByEnergy called with %d arguments, 1 argument expected\n",
                      lua_gettop(L));
  CheckBundle(L, first, "MultiplyByEnergy");
  for (SpectraType& s : S.spectra) SpectraMultiplyByEnergy(s);
  return 0;
}

int Element(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 1))
    return first == 1
               ? luaL_error(L, "Error in .Element(arg) unrecognized arguments in Element()\n")
               : luaL_error(L, "Error Spectra.Element called with %d arguments, 2 arguments expected\n",
                            lua_gettop(L));
  CheckBundle(L, first, "Element");
  return lua_push(L, ElementFromArgument(L, S.spectra, first));
}

int Sum(lua_State* L, SpectraTypeArray& S, int first) {
  if (lua_gettop(L) < first)
    return luaL_error(L, "Error Spectra.Sum called with %d arguments, 2 or more arguments expected\n",
                      lua_gettop(L));
  CheckBundle(L, first, "Sum");
  return lua_push(L, SumFromArguments(L, S.spectra, first));
}

int Print(lua_State* L, SpectraTypeArray& S, int first) {
  const int n = lua_gettop(L);
  if (n > 1) return luaL_error(L, "Error in .Print(arg) caled with %d arguments 0 or 1 expected\n", n);
  PrintFromArgument(L, S.spectra, first);
  return 0;
}

int Copy(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 0))
    return luaL_error(L, "Error Spectra.Copy called with %d arguments, 1 expected\n", lua_gettop(L));
  CheckBundle(L, first, "Copy");
  return lua_push(L, NewSpectra(L, [&] { return S; }));
}

int ToTable(lua_State* L, SpectraTypeArray& S, int first) {
  if (!QArguments(L, first, 0))
    return luaL_error(L, "Error Spectra.ToTable called with %d arguments, 1 argument expected\n",
                      lua_gettop(L));
  CheckBundle(L, first, "ToTable");
  return LuaPushTable_SpectraTypeArray(L, S);
}

int LuaSpectraFromTable(lua_State* L) {
  if (lua_gettop(L) != 1 || !lua_istable(L, 1))
    return luaL_error(L, "Error Spectra.FromTable called with %d arguments, 1 argument (a table) expected\n",
                      lua_gettop(L));
  return lua_push(L, NewSpectra(L, [&] { return luaL_checkSpectraTypeArrayTable(L, 1); }));
}

// --- Metamethods

struct IndexedNumber {
  const char* key;
  double (*of)(const SpectraType&);
};

const IndexedNumber IndexedNumbers[] = {
    {"NE", [](const SpectraType& S) -> double { return GridIntervals(S); }},
    {"dE", [](const SpectraType& S) { return S.dE; }},
    {"Emin", [](const SpectraType& S) { return S.Emin; }},
    {"Emax", [](const SpectraType& S) { return S.Emax; }},
    {"EminPole", [](const SpectraType& S) { return S.EminPole; }},
    {"EmaxPole", [](const SpectraType& S) { return S.EmaxPole; }},
    {"Gamma", [](const SpectraType& S) { return S.Gamma; }},
    {"Integral", [](const SpectraType& S) { return S.FirstB[0]; }},
    {"ResonantEnergy", [](const SpectraType& S) { return S.ResonantEnergy; }},
};

const luaL_Reg Methods[] = {
    {"Broaden", Entry<Method<Broaden>>}, {"Element", Entry<Method<Element>>},
    {"Print", Entry<Method<Print>>},     {"Shift", Entry<Method<Shift>>},
    {"Sum", Entry<Method<Sum>>},         {"MultiplyByEnergy", Entry<Method<MultiplyByEnergy>>},
};

// The key at index as messages show it.
std::string KeyText(lua_State* L, int index) {
  return lua_isstring(L, index) ? CheckText(L, index) : luaL_typename(L, index);
}

int LuaSpectraIndex(lua_State* L) {
  const auto* S = CheckRecord<SpectraTypeArray>(L, 1);
  const std::string key = KeyText(L, 2);
  if (key == "N") return lua_push(L, static_cast<double>(S->spectra.size()));
  if (key == "Name") return lua_push(L, S->Name);
  for (const IndexedNumber& number : IndexedNumbers)
    if (key == number.key) {
      std::vector<double> values;
      for (const SpectraType& s : S->spectra) values.push_back(number.of(s));
      return lua_push(L, std::move(values));
    }
  for (const luaL_Reg& method : Methods)
    if (key == method.name) {
      lua_pushvalue(L, 1);
      lua_pushcclosure(L, method.func, 1);
      return 1;
    }
  return luaL_error(L, "Error operation \".%s()\" not defined on spectra\n", key.c_str());
}

int LuaSpectraNewIndex(lua_State* L) {
  auto* S = CheckRecord<SpectraTypeArray>(L, 1);
  const std::string key = KeyText(L, 2);
  if (key != "Name") return luaL_error(L, "Error index %s not found in Spectra Object\n", key.c_str());
  if (!lua_isstring(L, 3)) return luaL_error(L, "Error, could not set name of spectra\n");
  S->Name = CheckText(L, 3);
  return 0;
}

int LuaSpectraToString(lua_State* L) {
  return lua_push(L, StringPrintSpectra(CheckRecord<SpectraTypeArray>(L, 1)->spectra));
}

const luaL_Reg Metamethods[] = {
    {"__add", Entry<LuaSpectraAdd>},
    {"__sub", Entry<LuaSpectraSub>},
    {"__mul", Entry<LuaSpectraMul>},
    {"__div", Entry<LuaSpectraDiv>},
    {"__pow", Entry<LuaSpectraPow>},
    {"__index", Entry<LuaSpectraIndex>},
    {"__newindex", Entry<LuaSpectraNewIndex>},
    {"__tostring", Entry<LuaSpectraToString>},
    {"__gc", Entry<CollectRecord<SpectraTypeArray>>},
    {nullptr, nullptr},
};

const luaL_Reg Functions[] = {
    {"Broaden", Entry<FreeFunction<Broaden>>},
    {"Copy", Entry<FreeFunction<Copy>>},
    {"Clone", Entry<FreeFunction<Copy>>},
    {"Element", Entry<FreeFunction<Element>>},
    {"MultiplyByEnergy", Entry<FreeFunction<MultiplyByEnergy>>},
    {"Shift", Entry<FreeFunction<Shift>>},
    {"Sum", Entry<FreeFunction<Sum>>},
    {"ToTable", Entry<FreeFunction<ToTable>>},
    {"FromTable", Entry<LuaSpectraFromTable>},
    {"ToUserdata", Entry<LuaSpectraFromTable>},
    {nullptr, nullptr},
};

}  // namespace

void RegisterSpectraType(lua_State* L) {
  RegisterMetatable(L, ScriptType<SpectraTypeArray>::name, Metamethods);
  RegisterTable(L, "Spectra", Functions);
}

}  // namespace fermix
