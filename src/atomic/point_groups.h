// Point groups: the symmetries that generate each, and its irreducible representations.
//
// They serve shells of one l, whose functions all have the same parity. There a group with inversion does the
// same as its rotations alone, and is described by these.
#pragma once

#include <span>
#include <string_view>

namespace fermix {

// A rotation by 2 pi / fold around an axis of any length, with inverted followed by r -> -r.
struct Symmetry {
  double axis[3];
  int fold;
  bool inverted = false;
};

// The characters are those of the generators of the group, in their order. No two representations of a group
// agree in all of them. A pair of complex conjugate representations counts as one.
struct Representation {
  const char* name;
  int dimension;
  double characters[3];
};

struct PointGroup {
  std::string_view name;
  std::span<const Symmetry> generators;             // at most three
  std::span<const Representation> representations;  // in the order of the character table
  bool parity = false;                              // names of representations end in g or u
  // Where not 0: the group and its functions are those of a cube that stands on a corner. This is one of its
  // 4-fold axes; the diagonal (111) points along z.
  double cubeAxis[3] = {0, 0, 0};
};

// The group of this name and setting, null if there is none.
const PointGroup* FindPointGroup(std::string_view name);

}  // namespace fermix
