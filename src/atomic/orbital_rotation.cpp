#include "atomic/orbital_rotation.h"

#include <algorithm>
#include <cfloat>
#include <map>
#include <set>

#include "atomic/basis_change.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// All matrices here are real.
double& Element(CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  return std::get<0>(m.Data)[std::size_t{i} * m.Nj + j];
}

CompactMatrixType Identity(std::uint32_t n) { return InitCompactIdentityMatrix(n, n); }

// Ni rows of m, beginning at firstRow and going around, of Nj columns.
CompactMatrixType CutRows(CompactMatrixType& m, std::uint32_t firstRow, std::uint32_t Ni, std::uint32_t Nj) {
  CompactMatrixType result = InitCompactMatrix(Ni, Nj, false);
  for (std::uint32_t i = 0; i < Ni; ++i)
    for (std::uint32_t j = 0; j < Nj; ++j) Element(result, i, j) = Element(m, (firstRow + i) % m.Ni, j);
  return result;
}

CompactMatrixType Refuse(const char* line) {
  Say("%s", line);
  return {};
}

bool QRepeated(const OrbitalNames& names) {
  return std::set<std::string>(names.begin(), names.end()).size() != names.size();
}

void Extend(OrbitalNames& smaller, const OrbitalNames& larger) {
  const OrbitalNames given = smaller;
  for (const auto& name : larger)
    if (!isOrbElementOf(name, given)) smaller.push_back(name);
}

// result = step result, for a step that comes after those in result.
int Then(CompactMatrixType& result, const CompactMatrixType& step, char op = 'N') {
  return CompactMatrixMultiply(op, 'N', step, result, result);
}

// The part of the shell nonRel that stands in rel from place on, which moves behind it. Empty after a line
// when it is not there.
CompactMatrixType ShellBlock(const std::string& nonRel, const OrbitalNames& rel, std::size_t& place) {
  const auto refuse = [&](const std::string& other) -> CompactMatrixType {
    Say("Error in NonRelToRelRotationMatrix: Could not connect \"%s\" with \"%s\".\n", nonRel.c_str(),
        other.c_str());
    return {};
  };
  if (place >= rel.size()) return refuse("");
  const std::string& first = rel[place++];
  if (!QOrbsBelongTogether(nonRel, first)) return refuse(first);
  const int states = orbToMultiplicity(nonRel, true);
  if (states < 1) return refuse(first);
  if (!QRelativistic(first)) return Identity(static_cast<std::uint32_t>(states));
  if (kappa(first) == -1) return states == 2 ? Identity(2) : refuse(first);

  if (place >= rel.size() || !QRelativistic(rel[place]) || !QOrbsBelongTogether(nonRel, rel[place])) {
    Say("Error in NonRelToRelRotationMatrix: List of new orbitals is missing the second entry belonging to "
        "\"%s\".\n",
        first.c_str());
    return {};
  }
  const std::string& second = rel[place++];
  const int ofFirst = orbToMultiplicity(first, true), ofSecond = orbToMultiplicity(second, true);
  if (ofFirst + ofSecond != states || std::abs(ofFirst - ofSecond) != 2) return refuse(second);
  CompactMatrixType jjz = YToJJzMatrix(states, true);
  if (ofFirst < ofSecond || jjz.Ni == 0) return jjz;
  return CutRows(jjz, static_cast<std::uint32_t>(ofSecond), jjz.Ni, jjz.Nj);  // j = l + 1/2 stands first
}

}  // namespace

bool QChangeFromRelToNonRel(const OrbitalNames& a, const OrbitalNames& b) {
  const auto relativistic = [](const OrbitalNames& names) {
    return std::count_if(names.begin(), names.end(), QRelativistic);
  };
  const auto inA = relativistic(a), inB = relativistic(b);
  const bool alike = (inA == 0 && inB == 0) || (inA == std::ssize(a) && inB == std::ssize(b));
  return !alike && std::set<std::string>(a.begin(), a.end()) != std::set<std::string>(b.begin(), b.end());
}

int orbitalPermutationMatrix(CompactMatrixType& P, const OrbitalNames& from, const OrbitalNames& to,
                             bool withSpin) {
  struct Range {
    std::uint32_t first, size;
  };
  std::map<std::string, Range> places;
  std::uint32_t states = 0;
  for (const auto& name : from) {
    const int multiplicity = orbToMultiplicity(name, withSpin);
    if (multiplicity < 1) return 1;
    const auto size = static_cast<std::uint32_t>(multiplicity);
    if (!places.emplace(name, Range{states, size}).second) return 1;
    if (size > UINT32_MAX - states) throw std::bad_alloc();
    states += size;
  }
  CompactMatrixType result = InitCompactMatrix(states, states, false);
  std::uint32_t row = 0;
  for (const auto& name : to) {
    const auto place = places.find(name);
    if (place == places.end()) return 1;
    for (std::uint32_t i = 0; i < place->second.size; ++i)
      Element(result, row++, place->second.first + i) = 1;
    places.erase(place);
  }
  if (!places.empty()) return 1;
  P = std::move(result);
  return 0;
}

CompactMatrixType NonRelToRelRotationMatrix(const OrbitalNames& nonRel, const OrbitalNames& rel) {
  std::vector<CompactMatrixType> blocks;
  std::size_t place = 0;
  for (const auto& name : nonRel) {
    if (QRelativistic(name)) {
      Say("Error in NonRelToRelRotationMatrix: Encountered relativistic orbital \"%s\" in list of "
          "non-relativistic orbitals.\n",
          name.c_str());
      return {};
    }
    blocks.push_back(ShellBlock(name, rel, place));
    if (blocks.back().Ni == 0) return {};
  }
  if (place < rel.size()) {
    Say("Error in NonRelToRelRotationMatrix: Could not connect \"\" with \"%s\".\n", rel[place].c_str());
    return {};
  }
  return BlockDiagonalMatrix(blocks);
}

// The way goes through non-relativistic shells, in the order in which partners stand together:
//
//     old -> old, grouped -> old, non-relativistic -> new, non-relativistic -> new, grouped -> new
CompactMatrixType OrbitalRotationMatrix(const OrbitalNames& oldOrbitals, const OrbitalNames& newOrbitals) {
  if (QRepeated(oldOrbitals))
    return Refuse("Error: RotationMatrix called with identical entries in the list of old orbitals.\n");
  if (QRepeated(newOrbitals))
    return Refuse("Error: RotationMatrix called with identical entries in the list of new orbitals.\n");
  OrbitalNames from = oldOrbitals, to = newOrbitals;
  const auto oldSize = NumberOfFermionicStates(from), newSize = NumberOfFermionicStates(to);
  if (oldSize < newSize) Extend(from, to);
  if (newSize < oldSize) Extend(to, from);
  if (NumberOfFermionicStates(from) != NumberOfFermionicStates(to))
    return Refuse("Error: RotationMatrix failed to make a connection between old and new orbitals.\n");

  OrbitalNames oldGroups = groupedRelOrbitals(from), newGroups = groupedRelOrbitals(to);
  CompactMatrixType result, newGrouping;
  if (orbitalPermutationMatrix(result, from, oldGroups, true) ||
      orbitalPermutationMatrix(newGrouping, newGroups, to, true))
    return Refuse("Error in RotationMatrix: Grouping of orbitals failed.\n");

  CompactMatrixType toNewForm = Identity(newGrouping.Ni);
  if (QChangeFromRelToNonRel(oldGroups, newGroups)) {
    const OrbitalNames oldShells = relToNonRelOrbs(oldGroups), newShells = relToNonRelOrbs(newGroups);
    const CompactMatrixType toOldForm = NonRelToRelRotationMatrix(oldShells, oldGroups);
    toNewForm = NonRelToRelRotationMatrix(newShells, newGroups);
    if (toOldForm.Ni != result.Ni || toNewForm.Ni != newGrouping.Ni || Then(result, toOldForm, 'T'))
      return Refuse(
          "Error in RotationMatrix: Rotation from relativistic to non-relativistic orbitals or vice versa "
          "failed.\n");
    oldGroups = oldShells;
    newGroups = newShells;
  }

  CompactMatrixType permutation;
  if (orbitalPermutationMatrix(permutation, oldGroups, newGroups, true) || Then(result, permutation) ||
      Then(result, toNewForm) || Then(result, newGrouping))
    return Refuse("Error in RotationMatrix: Permutation of orbitals failed.\n");
  CompactMatrixChop(result, 10 * DBL_EPSILON);
  return CutRows(result, 0, static_cast<std::uint32_t>(newSize), static_cast<std::uint32_t>(oldSize));
}

}  // namespace fermix
