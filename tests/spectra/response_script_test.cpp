// Response functions as tables of a script: read, written, converted on the way.
#include "spectra/response_script.h"

#include "host/script_fixture.h"

namespace fermix {
namespace {

// The table in the form To.
template <class To>
int ReadAs(lua_State* L) {
  luaL_checkScalarResponseAs<To>(L, 1);
  return 0;
}

// Reads a table and writes it again, form by form.
int ThereAndBack(lua_State* L) {
  const ScalarResponse M = luaL_checkScalarResponse(L, 1);
  struct {
    lua_State* L;
    int operator()(const TriDiagonalMatrixType& T) { return LuaPushTable_TriDiagonalMatrixType(L, T); }
    int operator()(const AndersonMatrixType& T) { return LuaPushTable_AndersonMatrixType(L, T); }
    int operator()(const ListOfPoles& T) { return LuaPushTable_ListOfPoles(L, T); }
    int operator()(const BADoubleTriDiagonalMatrixType& T) {
      return LuaPushTable_BADoubleTriDiagonalMatrixType(L, T);
    }
  } push{L};
  return std::visit(push, M);
}

class ResponseScript : public Script {
 protected:
  ResponseScript() {
    Function("Read", Entry<ThereAndBack>);
    Function("Chain", Entry<ReadAs<TriDiagonalMatrixType>>);
    Function("Orbitals", Entry<ReadAs<BADoubleTriDiagonalMatrixType>>);
    luaL_dostring(L, R"(
      function show(t)
        if type(t) ~= "table" then return tostring(t) end
        local s, keys = {}, {}
        for k in pairs(t) do keys[#keys + 1] = k end
        table.sort(keys, function(a, b) return tostring(a) < tostring(b) end)
        for i, k in ipairs(keys) do s[i] = k .. "=" .. show(t[k]) end
        return "{" .. table.concat(s, " ") .. "}"
      end
      function tri(a, b) return {a, b, type = "Tri", mu = 0, name = "c"} end)");
  }
};

TEST_F(ResponseScript, TablesThereAndBack) {
  const struct {
    const char *table, *back;
  } cases[] = {
      {"{{1, 2, 3}, {4, 5}, type = 'Tri', mu = 6, name = 'x'}",
       "{1={1=1 2=2 3=3} 2={1=4 2=5} mu=6 name=x type=Tri}"},
      {"{{1, 2, 3}, {4, 5}, type = 'And', mu = 6, name = 'x'}",
       "{1={1=1 2=2 3=3} 2={1=4 2=5} mu=6 name=x type=And}"},
      {"{{1, 2, 3}, {4, 5}, type = 'ListOfPoles', mu = 6, name = 'x'}",
       "{1={1=1 2=2 3=3} 2={1=4 2=5} mu=6 name=x type=ListOfPoles}"},
      {"{{1}, {}, type = 'ListOfPoles', mu = 6, name = 'x'}", "{1={1=1} 2={} mu=6 name=x type=ListOfPoles}"},
      // weights 3 and 4 become 3/5 and 4/5, constants of the chains go to the whole
      {"{{1, 2}, val = tri({0.5, -1, -2}, {3, 0.5}), con = tri({0, 1}, {4}), type = 'Nat', mu = 6, epsilon = "
       "7, "
       "name = 'x'}",
       "{1={1=3 2=10} con={1={1=0 2=1} 2={1=0.8} mu=0 name=c type=Tri} epsilon=7 mu=6 name=x "
       "type=NaturalImpurityOrbital val={1={1=0 2=-1 3=-2} 2={1=0.6 2=0.5} mu=0 name=c type=Tri}}"}};
  for (const auto& c : cases) EXPECT_EQ(Run(std::string("return show(Read(") + c.table + "))"), c.back);
}

TEST_F(ResponseScript, BrokenTablesAreErrors) {
  const struct {
    const char *call, *text;
  } cases[] = {
      {"Read(1)", "Error Green's function should be represented by a table"},
      {"Read{{0}, {}}", "Error Reading Green's function without type declaration."},
      {"Read{type = 'Star'}", "Errorr reading Greens function of unknown type (Star)"},
      {"Read{{0}, type = 'Tri'}",
       "Error a Green's function represented as a tri-diagonal matrix should be a list of two lists "
       "{{a0,a1,a2,...,an},{b0,b1,b2,...,bn"},
      {"Read{{0}, 1, type = 'And'}",
       "Error a Green's function represented as an Anderson matrix should be a list of two lists "
       "{{a0,a1,a2,...,an},{b0,b1,b2,...,bn"},
      {"Read{{0}, type = 'ListOfPoles'}",
       "Error a list of pole should be a list of two lists {{a0,a1,a2,...,an},{b1^2,b2^2,...,bn^2}}"},
      {"Read{{0}, {}, type = 'Tri'}",
       "Reading Green's function represented as a tri-diagonal matrix without mu defined"},
      {"Read{{0}, {}, type = 'And', mu = 0}",
       "Reading Green's function represented as an Anderson matrix without name defined"},
      {"Read{{}, {}, type = 'Tri', mu = 0, name = ''}",
       "Errorr reading Greens function with lenght of a equal to zero"},
      {"Read{{}, {}, type = 'ListOfPoles', mu = 0, name = ''}",
       "Errorr reading Greens function in list of poles format with lenght of a equal to zero.\nOne must "
       "specify at "
       "least a0\n"},
      {"Read{{0, 1}, {}, type = 'ListOfPoles', mu = 0, name = ''}",
       "Error Reading List of poles. Length of a (2) should be one more than length of b (0)"},
      {"local t = {{0, 1}, type = 'Nat', mu = 0, name = ''}; t.val = t; Read(t)",
       "Error Green's function of format NaturalImpurityOrbital should have a field val"},
      {"Read{{0, 1}, val = tri({0, 1}, {1}), type = 'Nat', mu = 0, name = ''}",
       "Error Green's function of format NaturalImpurityOrbital should have a field con"},
      {"Read{{0}, val = tri({0, 1}, {1}), con = tri({0}, {}), type = 'Nat', mu = 0, name = ''}",
       "Error Green's function of format NaturalImpurityOrbital should have the table {a0, b0} at position "
       "1"},
      {"Read{{0, 1}, {1/0}, type = 'ListOfPoles', mu = 0, name = ''}",
       "Error reading Green's function: a number is not finite"},
      {"Read{{0/0}, {}, type = 'Tri', mu = 0, name = ''}",
       "Error reading Green's function: a number is not finite"},
      {"Chain{{0, 1e300, -1e300}, {1, 1}, type = 'ListOfPoles', mu = 0, name = ''}",
       "Error: a response function can not be converted to the form that is needed here\n"}};
  for (const auto& c : cases) {
    const std::string text = Run(c.call);
    const std::size_t place = text.rfind(":1: ");  // where in the script
    EXPECT_EQ(place == std::string::npos ? text : text.substr(place + 4), c.text);
  }
  EXPECT_EQ(Run("Orbitals{{0, 1}, {1}, type = 'And', mu = 2, name = ''}"), "nil");
}

}  // namespace
}  // namespace fermix
