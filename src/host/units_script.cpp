#include "host/units_script.h"

#include <string>
#include <string_view>

#include "host/base/text.h"
#include "host/units_table.h"

namespace fermix {

namespace {

constexpr const char* entryMetatable = "PhysicalConstant_Entry";

// --- One entry: a table of value, units and description

void PushEntry(lua_State* L, double value, const char* units, const std::string& description) {
  lua_createtable(L, 0, 3);
  lua_pushnumber(L, value);
  lua_setfield(L, -2, "value");
  lua_pushstring(L, units);
  lua_setfield(L, -2, "units");
  lua_push(L, description);
  lua_setfield(L, -2, "description");
  luaL_setmetatable(L, entryMetatable);
}

// A text field of the entry at index 1, empty when a script has taken it away.
std::string EntryText(lua_State* L, const char* field) {
  lua_pushstring(L, field);
  lua_rawget(L, 1);
  const char* text = lua_tostring(L, -1);
  return text ? text : "";
}

int PhysicalConstantsToString(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  lua_pushliteral(L, "value");
  lua_rawget(L, 1);
  std::string text;
  sprintfAdd(text, "-- %s\n%22.15E --[[ %s ]]--", EntryText(L, "description").c_str(), lua_tonumber(L, 2),
             EntryText(L, "units").c_str());
  return lua_push(L, text);
}

// Raises that the table at index 1 lacks the key at index 2.
template <class Row>
int RefuseMissing(lua_State* L) {
  constexpr bool constants = std::is_same_v<Row, PhysicalConstantRow>;
  return luaL_error(L,
                    constants ? "PhysicalConstants does not have the element: %s"
                              : "EnergyUnits does not have the element: %s",
                    luaL_tolstring(L, 2, nullptr));
}

// --- PhysicalConstants

int AllPhysicalConstantsToString(lua_State* L) {
  std::string text = "PhysicalConstants:\n\n";
  for (const PhysicalConstantRow& row : PhysicalConstantRows)
    sprintfAdd(text, "-- %s\n%-8s= %22.15E  --[[ %s ]]--\n\n", row.description, row.name, row.value,
               row.units);
  return lua_push(L, text);
}

constexpr luaL_Reg constantsMetamethods[] = {{"__index", Entry<RefuseMissing<PhysicalConstantRow>>},
                                             {"__tostring", Entry<AllPhysicalConstantsToString>},
                                             {nullptr, nullptr}};

void RegisterPhysicalConstants(lua_State* L) {
  lua_newtable(L);
  for (const PhysicalConstantRow& row : PhysicalConstantRows) {
    PushEntry(L, row.value, row.units, row.description);
    lua_setfield(L, -2, row.name);
  }
  luaL_newlib(L, constantsMetamethods);
  lua_setmetatable(L, -2);
  lua_setglobal(L, "PhysicalConstants");
}

// --- EnergyUnits

void RegisterEnergyUnits(lua_State* L, std::string_view standard);

int EnergyUnitsNewIndex(lua_State* L) {
  const std::string_view key = luaL_tolstring(L, 2, nullptr);
  if (key != "Set")
    return luaL_error(L,
                      "You can change the standard Units in EnergyUnits by EnergyUnits.Set, no other "
                      "options are available: %s",
                      key.data());
  RegisterEnergyUnits(L, luaL_checkstring(L, 3));
  return 0;
}

int AllEnergyUnitsToString(lua_State* L) {
  std::string text = "Conversion table between energy units\n      ";
  for (const EnergyUnitRow& column : EnergyUnitRows) sprintfAdd(text, "%-18s", column.longName);
  text += "\n      ";
  for (const EnergyUnitRow& column : EnergyUnitRows) sprintfAdd(text, "%-18s", column.shortName);
  text += "\n";
  for (const EnergyUnitRow& row : EnergyUnitRows) {
    sprintfAdd(text, "%-6s", row.shortName);
    for (const EnergyUnitRow& column : EnergyUnitRows) sprintfAdd(text, "%17.11E ", row.joule / column.joule);
    text += "\n";
  }
  return lua_push(L, text);
}

constexpr luaL_Reg unitsMetamethods[] = {{"__newindex", Entry<EnergyUnitsNewIndex>},
                                         {"__index", Entry<RefuseMissing<EnergyUnitRow>>},
                                         {"__tostring", Entry<AllEnergyUnitsToString>},
                                         {nullptr, nullptr}};

const EnergyUnitRow& CheckUnit(lua_State* L, std::string_view name) {
  for (const EnergyUnitRow& row : EnergyUnitRows)
    if (name == row.longName || name == row.shortName) return row;
  ScriptError(L, "EnergyUnits tried to set standard unit: %s, but this unit does not excist", name.data());
}

// Replaces the global EnergyUnits by a table in the unit standard, a long or a short name.
void RegisterEnergyUnits(lua_State* L, std::string_view standard) {
  const EnergyUnitRow& unit = CheckUnit(L, standard);
  const double f = 1 / unit.joule;
  lua_newtable(L);
  for (const EnergyUnitRow& row : EnergyUnitRows) {
    const std::string description = std::string(row.description) + " in units of " + unit.longName;
    for (const char* name : {row.longName, row.shortName}) {
      PushEntry(L, row.joule * f, unit.shortName, description);
      lua_setfield(L, -2, name);
    }
  }
  luaL_newlib(L, unitsMetamethods);
  lua_setmetatable(L, -2);
  lua_setglobal(L, "EnergyUnits");
}

}  // namespace

void luaopen_units(lua_State* L) {
  constexpr luaL_Reg entryMetamethods[] = {{"__tostring", Entry<PhysicalConstantsToString>},
                                           {nullptr, nullptr}};
  RegisterMetatable(L, entryMetatable, entryMetamethods);
  RegisterPhysicalConstants(L);
  RegisterEnergyUnits(L, "eV");
}

}  // namespace fermix
