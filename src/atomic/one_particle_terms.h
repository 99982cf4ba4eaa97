// One-particle operators of a shell as lists of matrix elements, and the vector operators made of them.
//
// A vector operator V is told by its components V_z and V_+; the others follow:
//
//     V_- = adjoint of V_+,   V_x = (V_+ + V_-) / 2,   V_y = (V_+ - V_-) / 2i,
//     V^2 = V_z V_z + (V_+ V_- + V_- V_+) / 2.
#pragma once

#include "core/operator.h"

namespace fermix {

// The two lists of a shell: spin up and down, or in the jjz basis j = l - 1/2 and j = l + 1/2.
enum class ShellList : int { up = 0, dn = 1, jmin = 0, jplus = 1 };
using Spin = ShellList;  // where the lists are those of the spins

// The orbitals of a shell. They may repeat. All are below the NFermion of the operators that are made on
// them.
//
//     spin up, spin down   equal lengths; where orbitals have an m it is position - l, the length 2l + 1
//     jjz                  2l and 2l + 2 states by rising jz, from l - 1/2 and l + 1/2 below 0 on
struct ShellIndices {
  std::vector<std::uint16_t> list[2];

  bool QJJz() const { return list[0].size() != list[1].size(); }
  int length() const { return static_cast<int>(list[0].size()); }
  int l() const { return length() / 2; }  // in either basis
  std::uint16_t at(ShellList which, int position) const { return list[static_cast<int>(which)][position]; }
};

struct ShellPlace {
  ShellList list;
  int position;
};

// value c+(to) c(from).
struct OneParticleTerm {
  ShellPlace to, from;
  Complex16 value;
};
using OneParticleTerms = std::vector<OneParticleTerm>;

struct VectorTerms {
  OneParticleTerms z, plus;
};

enum class VectorComponent { x, y, z, plus, min, sqr };
// The names of the components in this order.
using VectorNames = const char* [6];

// Hash size for a table of about so many terms: the 8 bits of small operators, more where that is slow.
std::uint32_t NBitsKeyForTerms(std::size_t terms);

// An operator without terms whose tables for one-particle terms, and with ladders 4 for two-particle terms,
// are ready.
OperatorType InitShellOperator(const char* name, std::uint32_t NFermion, std::uint32_t ladders = 2,
                               std::size_t terms = 0);

// O += factor c+(to) c(from).
void AddHop(OperatorType& O, std::uint16_t to, std::uint16_t from, Complex16 factor);

// The sum of the terms on the shell. Terms of value 0 are left out.
OperatorType CreateOneParticleOperator(const char* name, const OneParticleTerms& terms,
                                       std::uint32_t NFermion, const ShellIndices& shell);

// A component of V on the shell. V^2 holds one- and two-particle terms in normal order.
OperatorType CreateVectorOperator(const VectorNames& names, const VectorTerms& V, VectorComponent component,
                                  std::uint32_t NFermion, const ShellIndices& shell);

}  // namespace fermix
