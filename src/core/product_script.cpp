// A product is chosen by the kinds of its factors:
//
//     left \ right   number     operator         state
//     number         -          scaled           scaled
//     operator       scaled     A B              A |psi>
//     state          scaled     A^dag |psi>      <a|b>
//
// A table on either side gives the table of the products of its values.
#include "core/product_script.h"

#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_on_state.h"
#include "core/operator_script.h"
#include "core/space_script.h"
#include "core/wave_function_arithmetic_script.h"
#include "host/table_walk.h"

namespace fermix {

namespace {

// A factor: one of the pointers is set, or none for a number z, or unknown.
struct Factor {
  bool complex = false, number = false;
  Complex16 z;
  const OperatorType* O = nullptr;
  const WaveFunctionType* psi = nullptr;
};

Factor ReadFactor(lua_State* L, int index) {
  Factor f;
  f.O = TestRecord<OperatorType>(L, index);
  f.psi = TestRecord<WaveFunctionType>(L, index);
  f.complex = TestRecord<Complex16>(L, index) != nullptr;
  f.number = f.complex || lua_isnumber(L, index);
  if (f.number) lua_check(L, index, f.z);
  return f;
}

int PushScaled(lua_State* L, const OperatorType& O, Complex16 z) {
  OperatorType result = O;
  OperatorScale(result, z);
  return lua_push(L, std::move(result));
}

int PushProduct(lua_State* L, const OperatorType& A, const OperatorType& B) {
  CheckSameSpace(L, A.layout, B.layout, "Multiplying two operators with");
  return lua_push(L, OperatorMultiply2NormalOrder(A, B, 'N', 'N', QDetNotOrderedFcFaBcBa));
}

int PushProduct(lua_State* L, const OperatorType& O, const WaveFunctionType& psi) {
  CheckSameSpace(L, O.layout, Layout(psi), "Multiplying an operator with a wavefunction with");
  return lua_push(L, OrScriptError("out of memory when multipling an operator times a wavefunction",
                                   [&] { return OperatorPsi(O, psi); }));
}

// The bra <psi| O, kept as the ket O^dag |psi>.
int PushProduct(lua_State* L, const WaveFunctionType& psi, const OperatorType& O) {
  CheckSameSpace(L, Layout(psi), O.layout, "Multiplying a wavefunction with an operator with");
  return lua_push(L, OrScriptError("out of memory when multipling wavefunction times an operator", [&] {
                    return OperatorPsi(OperatorConjugateTransposeNormalOrder(O, QDetNotOrderedFcFaBaBc), psi);
                  }));
}

int PushProduct(lua_State* L, const WaveFunctionType& a, const WaveFunctionType& b) {
  CheckSameSpace(L, Layout(a), Layout(b), "Multiplying two wave-funcitons with",
                 "%s different number of %s in the basis (%d) and (%d)");
  return lua_push(L, WaveFunctionDotProduct(a, b));
}

int PushFactors(lua_State* L, const Factor& a, const Factor& b) {
  if (a.O && b.O) return PushProduct(L, *a.O, *b.O);
  if (a.O && b.psi) return PushProduct(L, *a.O, *b.psi);
  if (a.psi && b.O) return PushProduct(L, *a.psi, *b.O);
  if (a.psi && b.psi) return PushProduct(L, *a.psi, *b.psi);
  if ((a.number && QNaN(a.z)) || (b.number && QNaN(b.z)))
    return luaL_error(L, a.O || b.O ? "Error, operator multiplied with a number that is not a number\n"
                                    : "Error, wavefunction multiplied with a number that is not a number\n");
  if (a.O && b.number) return PushScaled(L, *a.O, b.z);
  if (a.number && b.O) return PushScaled(L, *b.O, a.z);
  if (a.psi && b.number)
    return PushScaled(L, *a.psi, b.z,
                      b.complex ? "out of memory when multipling a wavefunction with a complex number"
                                : "out of memory when multipling a wavefunction with a number");
  if (a.number && b.psi)
    return PushScaled(L, *b.psi, a.z,
                      a.complex ? "out of memory when multipling a complex number with a wavefunction"
                                : "out of memory when multipling a number with a wavefunction");
  return luaL_error(L, a.O || b.O ? "Error, operator multiplied with an object of unrecognized type\n"
                                  : "Error, wavefunction multiplied with an object of unrecognized type\n");
}

// Pushes the product of the value at left, no table, and that at right.
void PushProductWithRight(lua_State* L, int left, int right, int depth, TableWalk& walk) {
  if (!lua_istable(L, right)) {
    PushFactors(L, ReadFactor(L, left), ReadFactor(L, right));
    return;
  }
  walk.Enter(L, right, depth);
  MapTable(L, right, [&] { PushProductWithRight(L, left, lua_gettop(L), depth + 1, walk); });
}

// Pushes the product of the values at left and right. Each value of a table on the left walks that on the
// right anew, so that only what is shared inside of one of them counts as shared.
void PushProductOfValues(lua_State* L, int left, int right, int depth, TableWalk& walk) {
  if (!lua_istable(L, left)) {
    TableWalk walkRight;
    return PushProductWithRight(L, left, right, depth, walkRight);
  }
  walk.Enter(L, left, depth);
  MapTable(L, left, [&] { PushProductOfValues(L, lua_gettop(L), right, depth + 1, walk); });
}

}  // namespace

int LuaProduct(lua_State* L) {
  luaL_checkany(L, 1);
  luaL_checkany(L, 2);
  lua_settop(L, 2);
  TableWalk walk;
  PushProductOfValues(L, 1, 2, 0, walk);
  return 1;
}

}  // namespace fermix
