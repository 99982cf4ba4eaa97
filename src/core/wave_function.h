// Many-body states: a sparse vector over a determinant basis.
//
// A state is a shared pointer to a basis plus one value for each element: values[i] belongs to the
// determinant basis->keys.at(i), i = 1 .. N; values[0] is the sentinel and 0. Copying the record shares the
// basis; whoever lets a state grow or shrink goes through OwnBasis or the routines below, which copy a shared
// basis first. Elements keep insertion order. Forms that add may throw bad_alloc, after a line, and then
// leave the state as it was.
#pragma once

#include <memory>
#include <string>

#include "core/determinant_basis.h"
#include "host/base/complex16.h"

namespace fermix {

using StateValues = std::variant<BlockedArray<double>, BlockedArray<Complex16>>;

struct WaveFunctionType {
  std::string Name = "Wave Function";
  std::shared_ptr<DeterminantBasis> basis;  // never null
  StateValues values;                       // basis->N + 1 elements

  explicit WaveFunctionType(KeyLayout layout = {}, bool complex = false, std::uint32_t NBitsKey = 16);
};

inline bool QComplex(const WaveFunctionType& psi) { return psi.values.index() == 1; }
inline std::uint32_t ElementCount(const WaveFunctionType& psi) { return psi.basis->N; }
inline const KeyLayout& Layout(const WaveFunctionType& psi) { return psi.basis->layout; }
inline const KeyWord* ElementKey(const WaveFunctionType& psi, std::uint32_t i) {
  return psi.basis->keys.at(i);
}
Complex16 ElementValue(const WaveFunctionType& psi, std::uint32_t i);

// The basis of psi for writing: a copy of its own if another state reads the same one.
DeterminantBasis& OwnBasis(WaveFunctionType& psi);

// Calls f(values of a, values of b) with the kinds of both.
template <class F>
decltype(auto) DispatchKinds(const WaveFunctionType& a, const WaveFunctionType& b, F&& f) {
  return std::visit(std::forward<F>(f), a.values, b.values);
}

// A new state on the basis of Source: same kind and name, values 0.
WaveFunctionType WaveFunctionInitCopyBasis(const WaveFunctionType& Source);
// A deep copy with a basis of its own; the element order comes out reversed.
WaveFunctionType WaveFunctionCopy(const WaveFunctionType& Source);

// Adds value to the element with that key; creates it if it is missing, also for a value of 0.
void RealWaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, double value);
void ComplexWaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, Complex16 value);
// The same for a state of either kind; a real one takes the real part.
void WaveFunctionAddElement(WaveFunctionType& psi, const KeyWord* key, Complex16 value);

// Psi += Other, walking Other from its last element to its first. All or nothing when memory runs out.
void WaveFunctionAddUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other);
void WaveFunctionAddMultipliedUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other, double factor);
// A real psi becomes complex when |im| > |re| eps + 2.2e-308.
void WaveFunctionAddComplexMultipliedUnionBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                                Complex16 factor);
// The same inside the basis of psi: keys that it lacks are dropped.
void WaveFunctionAddConserveBasis(WaveFunctionType& psi, const WaveFunctionType& other);
void WaveFunctionAddMultipliedConserveBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                            double factor);
void ComplexWaveFunctionAddComplexMultipliedConserveBasis(WaveFunctionType& psi,
                                                          const WaveFunctionType& other, Complex16 factor);
// psi += factor * other for two states that share a basis: a pass over the arrays.
void WaveFunctionAddMultipliedSameBasis(WaveFunctionType& psi, const WaveFunctionType& other,
                                        Complex16 factor);

// In place.
void WaveFunctionConjugate(WaveFunctionType& psi);
// Scales in place. A real psi stays real when |im| < 10 (|re| eps + 2.2e-308).
void WaveFunctionMultiply(WaveFunctionType& psi, double re, double im);

// <a|b>, the bra conjugated. SameBasis reads arrays and needs one numbering; the other looks keys up.
Complex16 WaveFunctionDotProductSameBasis(const WaveFunctionType& a, const WaveFunctionType& b);
Complex16 WaveFunctionDotProduct(const WaveFunctionType& a, const WaveFunctionType& b);

// Of any size, also where its square over- or underflows.
double WaveFunctionCalculateNorm(const WaveFunctionType& psi);
double WaveFunctionCalculateNormSqr(const WaveFunctionType& psi);
// A real state of norm 0 stays as it is; a complex one becomes not-a-number.
void WaveFunctionNormalize(WaveFunctionType& psi);
// Values from the C library's rand, then normalised.
void WaveFunctionRandomize(WaveFunctionType& psi);

// Drops elements of magnitude at or below epsilon; a complex state without imaginary parts above it becomes
// real, if memory allows. Needs memory only when the basis is shared.
void WaveFunctionTruncateBasis(WaveFunctionType& psi, double epsilon);
// The same, always staying complex.
void ComplexWaveFunctionTruncateBasis(WaveFunctionType& psi, double epsilon);
// Sets NBitsKey; also drops elements of magnitude at or below 4.7e-154.
void WaveFunctionResetKeylist(WaveFunctionType& psi, std::uint32_t NBitsKey);
// Keeps the determinants that fulfil R.
void WaveFunctionRestrict(WaveFunctionType& psi, const DeterminantRestrictionType& R);

// Status 1 after a line when the space would exceed 65536.
[[nodiscard]] int WaveFunctionChangeNFandNB(WaveFunctionType& psi, std::uint32_t NFermionNew,
                                            std::uint32_t NBosonNew);

// A real state becomes complex; no change otherwise.
void MakeComplexWaveFunctionFromReal(WaveFunctionType& psi);
// A complex state becomes real, whatever it loses.
void DropImaginaryParts(WaveFunctionType& psi);
// A complex state becomes real when the norm of its imaginary part is below epsilon.
void MakeComplexFunctionRealWhenNormSmall(WaveFunctionType& psi, double epsilon);
// Turns a complex state that is a real vector up to a phase into that vector, normalised.
void MakeRealWaveFunctionFromComplexAccordingToNorm(WaveFunctionType& psi);

// Lists of states. ToSameBasis puts all on the basis of the first, extended by the keys it lacks;
// SeperateBasis leaves it to the first and gives each other one its own; without memory the rest, after a
// line, keep sharing.
void WaveFunctionArrayToSameBasis(std::vector<WaveFunctionType>& states);
void WaveFunctionArraySeperateBasis(std::vector<WaveFunctionType>& states);
// For states on one basis: drops the elements in which all values are below epsilon; single values below it
// become 0.
void BlockWaveFunctionTruncateBasis(std::vector<WaveFunctionType>& states, double epsilon);
void BlockWaveFunctionResetKeylist(std::vector<WaveFunctionType>& states, std::uint32_t NBitsKey);
void BlockWaveFunctionRestrict(std::vector<WaveFunctionType>& states, const DeterminantRestrictionType& R);

// Bytes that the record owns on the heap, a shared basis counted whole.
std::size_t OwnedBytes(const WaveFunctionType& psi);

}  // namespace fermix
