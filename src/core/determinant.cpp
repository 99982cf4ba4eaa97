#include "core/determinant.h"

#include <algorithm>
#include <cmath>

#include "host/base/status.h"
#include "host/base/text.h"

namespace fermix {

namespace {

// Parity of the occupied orbitals below i.
bool OddBelow(const KeyWord* key, std::uint32_t i) {
  KeyWord fold = 0;
  for (std::uint32_t w = 0; w < i / 64; ++w) fold ^= key[w];
  if (i % 64) fold ^= key[i / 64] & (~KeyWord{0} << (64 - i % 64));
  return std::popcount(fold) & 1;
}

double FermionFactor(KeyWord* key, std::uint32_t i, bool create) {
  if (QOccupied(key, i) == create) return 0;
  key[i / 64] ^= OrbitalBit(i);
  return OddBelow(key, i) ? -1 : 1;
}

// A count never wraps: at 255 creation kills the state.
double BosonFactor(KeyWord* key, std::uint32_t byte, bool create) {
  const std::uint8_t n = KeyByte(key, byte);
  if (n == (create ? 255 : 0)) return 0;
  SetKeyByte(key, byte, static_cast<std::uint8_t>(create ? n + 1 : n - 1));
  return std::sqrt(create ? n + 1.0 : n);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return 0;
}

constexpr std::uint32_t Rotate(std::uint32_t x, int k) { return std::rotl(x, k); }

// The three mixing steps of lookup3.
void Mix(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) {
  a -= c, a ^= Rotate(c, 4), c += b;
  b -= a, b ^= Rotate(a, 6), a += c;
  c -= b, c ^= Rotate(b, 8), b += a;
  a -= c, a ^= Rotate(c, 16), c += b;
  b -= a, b ^= Rotate(a, 19), a += c;
  c -= b, c ^= Rotate(b, 4), b += a;
}
void FinalMix(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) {
  c ^= b, c -= Rotate(b, 14);
  a ^= c, a -= Rotate(c, 11);
  b ^= a, b -= Rotate(a, 25);
  c ^= b, c -= Rotate(b, 16);
  a ^= c, a -= Rotate(c, 4);
  b ^= a, b -= Rotate(a, 14);
  c ^= b, c -= Rotate(b, 24);
}

// hashlittle with initial value 0. load(position, count) gives count <= 4 bytes from a position that is a
// multiple of 4 as one number, least significant byte first.
template <class Load>
std::uint32_t HashLittle(std::uint64_t length, Load&& load) {
  std::uint32_t part[3];
  part[0] = part[1] = part[2] = 0xdeadbeef + static_cast<std::uint32_t>(length);
  if (length == 0) return part[2];
  std::uint64_t position = 0;
  for (; length - position > 12; position += 12) {
    for (unsigned k = 0; k < 3; ++k) part[k] += load(position + 4 * k, 4);
    Mix(part[0], part[1], part[2]);
  }
  for (unsigned k = 0; position < length; position += 4, ++k)
    part[k] += load(position, static_cast<unsigned>(std::min<std::uint64_t>(4, length - position)));
  FinalMix(part[0], part[1], part[2]);
  return part[2];
}

std::uint32_t CutToBits(std::uint32_t value, std::uint32_t NBitsKey) {
  return value & ~(~std::uint32_t{0} << (NBitsKey % 32));
}

}  // namespace

double OperatorLader(KeyWord* key, const LadderIndex* lader, std::uint32_t length, std::uint32_t NFermion) {
  double amplitude = 1;
  for (std::uint32_t position = 0; position < length; ++position) {
    const std::uint32_t i = LadderOrbital(lader[position]);
    const bool create = QCreation(lader[position]);
    amplitude *= i < NFermion ? FermionFactor(key, i, create)
                              : BosonFactor(key, NFermionBytes(NFermion) + i - NFermion, create);
    if (amplitude == 0) return 0;
  }
  return amplitude;
}

std::uint32_t hash(const void* data, std::uint64_t length, std::uint32_t NBitsKey) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  const auto load = [bytes](std::uint64_t position, unsigned count) {
    const unsigned char* p = bytes + position;
    if (count == 4)  // written so that compilers see one load
      return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
             std::uint32_t{p[3]} << 24;
    std::uint32_t word = 0;
    for (unsigned k = 0; k < count; ++k) word |= std::uint32_t{p[k]} << (8 * k);
    return word;
  };
  return CutToBits(HashLittle(length, load), NBitsKey);
}

std::uint32_t DeterminantHash(const KeyWord* key, std::uint32_t NWordBytes, std::uint32_t NBitsKey) {
  const auto load = [key](std::uint64_t position, unsigned count) {
    std::uint32_t word = 0;
    for (unsigned k = 0; k < count; ++k)
      word |= std::uint32_t{KeyByte(key, static_cast<std::uint32_t>(position + k))} << (8 * k);
    return word;
  };
  return CutToBits(HashLittle(NWordBytes, load), NBitsKey);
}

Key StringToDet(std::uint32_t NFermion, std::uint32_t NBoson, const std::string& text) {
  const KeyLayout layout{NFermion, NBoson};
  Key key(KeyWords(layout));
  const std::size_t expected = std::size_t{NFermion} + 2 * std::size_t{NBoson};
  if (expected > text.size())
    Say("Error in StringToDet, length of string(%lu) different from NFermion(%d)+2*NBoson(%d)\n",
        static_cast<unsigned long>(text.size()), static_cast<int>(NFermion), static_cast<int>(NBoson));
  std::size_t position = 0, blanks = 0;
  const auto skipBlanks = [&] {
    for (; position < text.size() && text[position] == ' '; ++position) ++blanks;
  };
  for (std::uint32_t i = 0; i < NFermion; ++i, ++position) {
    skipBlanks();
    if (position >= text.size()) {
      Say("Error in String to Determinant, less elements in determinant then Fermions\n");
      return Key(KeyWords(layout));
    }
    const char c = text[position];
    if (c == '1') {
      key[i / 64] |= OrbitalBit(i);
    } else if (c != '0') {
      Say("Error in StringToDet, expected \"1\", \"0\" or \" \" on position %d of the string, got %c\n",
          static_cast<int>(position), c);
    }
  }
  for (std::uint32_t k = 0; k < NBoson; ++k, position += 2) {
    skipBlanks();
    if (position + 2 > text.size()) break;  // the count of characters below tells
    SetKeyByte(key.data(), NFermionBytes(NFermion) + k,
               static_cast<std::uint8_t>(16 * HexDigit(text[position]) + HexDigit(text[position + 1])));
  }
  skipBlanks();
  if (expected + blanks == text.size()) return key;
  Say("Error in String to Determinant, more elements in determinant then Fermions + Bosons\n");
  return Key(KeyWords(layout));
}

std::string DetToString(std::uint32_t NFermion, std::uint32_t NBoson, const KeyWord* key) {
  const std::uint32_t kept =
      NBoson == 0 ? NFermion : std::min(8 * NFermionBytes(NFermion), NFermion + NBoson);
  std::string text;
  for (std::uint32_t i = 0; i < kept; ++i) text += KeyByte(key, i / 8) & (0x80 >> i % 8) ? '1' : '0';
  if (NBoson) sprintfAdd(text, " %02X", KeyByte(key, NFermionBytes(NFermion) + NBoson - 1));
  return text;
}

std::string DetToHex(const KeyLayout& layout, const KeyWord* key) {
  std::string text;
  for (std::uint32_t b = 0; b < NWord(layout); ++b) sprintfAdd(text, "%2.2X", KeyByte(key, b));
  return text;
}

OrderAction QDetNotOrderedFcFaBcBa(LadderIndex a, LadderIndex b, std::uint32_t NFermion) {
  return OrderOfPair(a, b, NFermion, false);
}

OrderAction QDetNotOrderedFcFaBaBc(LadderIndex a, LadderIndex b, std::uint32_t NFermion) {
  return OrderOfPair(a, b, NFermion, true);
}

}  // namespace fermix
