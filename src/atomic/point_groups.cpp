#include "atomic/point_groups.h"

namespace fermix {

namespace {

constexpr Symmetry c2x{{1, 0, 0}, 2}, c2y{{0, 1, 0}, 2}, c2z{{0, 0, 1}, 2}, c2ofEdge{{1, -1, 0}, 2};
constexpr Symmetry c3z{{0, 0, 1}, 3}, c3ofDiagonal{{1, 1, 1}, 3}, c4z{{0, 0, 1}, 4};
constexpr Symmetry mirrorY{{0, 1, 0}, 2, true}, mirrorZ{{0, 0, 1}, 2, true}, s4z{{0, 0, 1}, 4, true};

constexpr Symmetry d2[] = {c2z, c2y}, d4[] = {c4z, c2x}, c4v[] = {c4z, mirrorY};
constexpr Symmetry t[] = {c2z, c3ofDiagonal}, o[] = {c4z, c3ofDiagonal}, td[] = {s4z, c3ofDiagonal};
constexpr Symmetry d3[] = {c3z, c2x}, d3ofCube[] = {c3ofDiagonal, c2ofEdge};
constexpr Symmetry d3hx[] = {c3z, c2x, mirrorZ}, d3hy[] = {c3z, c2y, mirrorZ};

constexpr Representation ofD2[] = {
    {"A", 1, {1, 1}}, {"B1", 1, {1, -1}}, {"B2", 1, {-1, 1}}, {"B3", 1, {-1, -1}}};
constexpr Representation ofD3[] = {{"A1", 1, {1, 1}}, {"A2", 1, {1, -1}}, {"E", 2, {-1, 0}}};
constexpr Representation ofD4[] = {
    {"A1", 1, {1, 1}}, {"A2", 1, {1, -1}}, {"B1", 1, {-1, 1}}, {"B2", 1, {-1, -1}}, {"E", 2, {0, 0}}};
constexpr Representation ofD3h[] = {{"A1'", 1, {1, 1, 1}},    {"A2'", 1, {1, -1, 1}},
                                    {"E'", 2, {-1, 0, 2}},    {"A1''", 1, {1, 1, -1}},
                                    {"A2''", 1, {1, -1, -1}}, {"E''", 2, {-1, 0, -2}}};
constexpr Representation ofT[] = {{"A", 1, {1, 1}}, {"E", 2, {2, -1}}, {"T", 3, {-1, 0}}};
constexpr Representation ofO[] = {
    {"A1", 1, {1, 1}}, {"A2", 1, {-1, 1}}, {"E", 2, {0, -1}}, {"T1", 3, {1, 0}}, {"T2", 3, {-1, 0}}};

// The tangent of the angle between a 4-fold axis of a cube and a diagonal.
constexpr double tangent = 1.4142135623730951;

constexpr PointGroup groups[] = {
    {"D2h", d2, ofD2, true},
    {"C4v", c4v, ofD4},
    {"D4h", d4, ofD4, true},
    {"D3h", d3hx, ofD3h},
    {"D3hx", d3hx, ofD3h},
    {"D3hy", d3hy, ofD3h},
    {"D3d", d3, ofD3, true},
    {"D3dA", d3ofCube, ofD3, true, {1, 1, 1}},
    {"D3dB", d3ofCube, ofD3, true, {0, -tangent, 1}},
    {"D3dC", d3ofCube, ofD3, true, {0, tangent, 1}},
    {"D3dD", d3ofCube, ofD3, true, {-tangent, 0, 1}},
    {"D3dE", d3ofCube, ofD3, true, {tangent, 0, 1}},
    {"D3dF", d3ofCube, ofD3, true},
    {"T", t, ofT},
    {"Th", t, ofT, true},
    {"Td", td, ofO},
    {"O", o, ofO},
    {"Oh", o, ofO, true},
};

}  // namespace

const PointGroup* FindPointGroup(std::string_view name) {
  for (const PointGroup& group : groups)
    if (group.name == name) return &group;
  return nullptr;
}

}  // namespace fermix
