// Determinants: how a basis state is packed into a key, and how ladder operators act on it.
//
// A key is a string of NWord bytes: one bit for each fermionic orbital, orbital 0 at the most significant bit
// of byte 0, then one occupation byte for each bosonic mode. In memory the bytes fill 64-bit words from their
// most significant byte on, so that words compare, hash and count as the string does; unused bits are 0.
//
//     9 orbitals, 2 modes:   orbitals 0-7 | orbital 8, padding | mode 9 | mode 10 | 0 0 0 0
//                            byte 0         byte 1               byte 2   byte 3     ... word 0 ends here
//
// Orbitals and modes share one numbering from 0: orbitals 0 .. NFermion - 1, modes above. A key stands for
// the product of its creation operators in ascending order, lowest index leftmost, acting on the vacuum.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace fermix {

using KeyWord = std::uint64_t;
using Key = std::vector<KeyWord>;

struct KeyLayout {
  std::uint32_t NFermion = 0, NBoson = 0;
  bool operator==(const KeyLayout&) const = default;
};

constexpr std::uint32_t NFermionBytes(std::uint32_t NFermion) { return (NFermion + 7) / 8; }
// Bytes of a key.
constexpr std::uint32_t NWord(const KeyLayout& l) { return NFermionBytes(l.NFermion) + l.NBoson; }
// 64-bit words of a key, at least 1.
constexpr std::uint32_t KeyWords(const KeyLayout& l) {
  return l.NFermion + l.NBoson == 0 ? 1 : (NWord(l) + 7) / 8;
}

// Calls f with the number of words, as a constant that the compiler knows for keys of one or two words: in
// the inner loops copying and comparing a key then is an instruction and not a call.
template <class F>
decltype(auto) DispatchWords(std::uint32_t words, F&& f) {
  if (words == 1) return f(std::integral_constant<std::uint32_t, 1>{});
  if (words == 2) return f(std::integral_constant<std::uint32_t, 2>{});
  return f(words);
}
template <class Words>
inline void CopyKey(const KeyWord* from, Words words, KeyWord* to) {
  for (std::uint32_t w = 0; w < words; ++w) to[w] = from[w];
}
template <class Words>
inline bool SameKey(const KeyWord* a, const KeyWord* b, Words words) {
  for (std::uint32_t w = 0; w < words; ++w)
    if (a[w] != b[w]) return false;
  return true;
}

constexpr std::uint8_t KeyByte(const KeyWord* key, std::uint32_t b) {
  return static_cast<std::uint8_t>(key[b / 8] >> (56 - 8 * (b % 8)));
}
constexpr void SetKeyByte(KeyWord* key, std::uint32_t b, std::uint8_t value) {
  const unsigned shift = 56 - 8 * (b % 8);
  key[b / 8] = (key[b / 8] & ~(KeyWord{0xff} << shift)) | (KeyWord{value} << shift);
}
// The bit of orbital i in word i / 64.
constexpr KeyWord OrbitalBit(std::uint32_t i) { return KeyWord{1} << (63 - i % 64); }
constexpr bool QOccupied(const KeyWord* key, std::uint32_t i) { return key[i / 64] & OrbitalBit(i); }

// A ladder operator: bit 15 set for creation, the lower 15 bits the index in the shared numbering. In a
// string, element 0 is the rightmost factor of the product, the one that acts first.
using LadderIndex = std::uint16_t;
inline constexpr LadderIndex CreationBit = 0x8000, IndexMask = 0x7fff;
constexpr LadderIndex Create(std::uint32_t i) { return static_cast<LadderIndex>(i | CreationBit); }
constexpr LadderIndex Annihilate(std::uint32_t i) { return static_cast<LadderIndex>(i & IndexMask); }
constexpr bool QCreation(LadderIndex l) { return l & CreationBit; }
constexpr std::uint32_t LadderOrbital(LadderIndex l) { return l & IndexMask; }

// Applies the string to key in place, one ladder after the other, and returns the amplitude: 0 when the
// string annihilates the state (the key is then worthless), a sign times square roots of boson counts
// otherwise. A boson count saturates at 255 by giving 0. The indices must lie within the layout of the key.
double OperatorLader(KeyWord* key, const LadderIndex* lader, std::uint32_t length, std::uint32_t NFermion);

// Bob Jenkins's lookup3 hash (hashlittle with initial value 0) of length bytes, cut to NBitsKey bits;
// 0 bits, or 32, give slot 0. Source: B. Jenkins, lookup3.c, public domain (2006).
std::uint32_t hash(const void* data, std::uint64_t length, std::uint32_t NBitsKey);
// The same over the NWord bytes of a key.
std::uint32_t DeterminantHash(const KeyWord* key, std::uint32_t NWordBytes, std::uint32_t NBitsKey);

// Reads the text form: "0" or "1" for each orbital, blanks skipped, two hexadecimal digits for each mode.
// Prints what is wrong and then gives what was read, or the zero key when the length does not fit.
Key StringToDet(std::uint32_t NFermion, std::uint32_t NBoson, const std::string& text);

// The text form. With modes it shows the last one only, and padding bits of the last fermion byte may show.
std::string DetToString(std::uint32_t NFermion, std::uint32_t NBoson, const KeyWord* key);

// The key as hexadecimal digits, two a byte.
std::string DetToHex(const KeyLayout& layout, const KeyWord* key);

// What a normal-ordering routine must do with the pair a (higher position) and b (just below it).
enum class OrderAction : int {
  InOrder = 0,
  Commute = 1,               // swap
  FermionContraction = 2,    // swap, change sign; same index: add the string without the pair
  FermionExchange = 3,       // swap, change sign
  BosonContraction = 4,      // swap; same index: add the string without the pair
  BosonAntiContraction = 5,  // swap; same index: subtract the string without the pair
  Vanish = 6                 // the same fermion operator twice
};
using OrderPredicate = OrderAction (*)(LadderIndex a, LadderIndex b, std::uint32_t NFermion);

// The rule behind both predicates: values ascend from the right of the product to the left, bosons right of
// fermions. For bosons bit 15 is turned over first when annihilators are to stand left of creators.
constexpr OrderAction OrderOfPair(LadderIndex a, LadderIndex b, std::uint32_t NFermion,
                                  bool annihilatorsLeft) {
  const bool bosonA = LadderOrbital(a) >= NFermion, bosonB = LadderOrbital(b) >= NFermion;
  if (bosonA != bosonB) return bosonA ? OrderAction::Commute : OrderAction::InOrder;
  const bool sameKind = QCreation(a) == QCreation(b);
  if (bosonA) {
    const LadderIndex flip = annihilatorsLeft ? CreationBit : 0;
    if ((a ^ flip) >= (b ^ flip)) return OrderAction::InOrder;
    if (sameKind) return OrderAction::Commute;
    return annihilatorsLeft ? OrderAction::BosonAntiContraction : OrderAction::BosonContraction;
  }
  if (a == b) return OrderAction::Vanish;
  if (a > b) return OrderAction::InOrder;
  return sameKind ? OrderAction::FermionExchange : OrderAction::FermionContraction;
}

// Fermion creators, fermion annihilators, boson creators, boson annihilators, left to right in the product,
// indices descending within each group: the system's default.
OrderAction QDetNotOrderedFcFaBcBa(LadderIndex a, LadderIndex b, std::uint32_t NFermion);
// The same with boson annihilators before boson creators.
OrderAction QDetNotOrderedFcFaBaBc(LadderIndex a, LadderIndex b, std::uint32_t NFermion);

}  // namespace fermix
