// One-particle operators of a shell as lists of matrix elements, and the vector operators made of them.
//
// A vector operator V is told by its components V_z and V_+; the others follow:
//
//     V_- = adjoint of V_+,   V_x = (V_+ + V_-) / 2,   V_y = (V_+ - V_-) / 2i,
//     V^2 = V_z V_z + (V_+ V_- + V_- V_+) / 2.
#pragma once

#include "core/operator.h"

namespace fermix {

enum class Spin : int { up = 0, dn = 1 };

// The orbitals of a shell, by spin: list[0] up and list[1] down, of equal length. Where orbitals have an m it
// is position - l, so that the length is 2l + 1. Orbitals may repeat. All are below the NFermion of the
// operators that are made on them.
struct ShellIndices {
  std::vector<std::uint16_t> list[2];

  int length() const { return static_cast<int>(list[0].size()); }
  int l() const { return (length() - 1) / 2; }
  std::uint16_t at(Spin s, int position) const { return list[static_cast<int>(s)][position]; }
};

// value c+(to, toSpin) c(from, fromSpin), by position in the lists.
struct OneParticleTerm {
  int to;
  Spin toSpin;
  int from;
  Spin fromSpin;
  double value;
};
using OneParticleTerms = std::vector<OneParticleTerm>;

struct VectorTerms {
  OneParticleTerms z, plus;
};

enum class VectorComponent { x, y, z, plus, min, sqr };

// Hash size for a table of about so many terms: the 8 bits of small operators, more where that is slow.
std::uint32_t NBitsKeyForTerms(std::size_t terms);

// An operator without terms whose tables for one-particle terms, and with ladders 4 for two-particle terms,
// are ready.
OperatorType InitShellOperator(const char* name, std::uint32_t NFermion, std::uint32_t ladders = 2,
                               std::size_t terms = 0);

// O += factor c+(to) c(from).
void AddHop(OperatorType& O, std::uint16_t to, std::uint16_t from, Complex16 factor);

// A component of V on the shell. V^2 holds one- and two-particle terms in normal order; V_y is complex.
OperatorType CreateVectorOperator(const char* name, const VectorTerms& V, VectorComponent component,
                                  std::uint32_t NFermion, const ShellIndices& shell);

}  // namespace fermix
