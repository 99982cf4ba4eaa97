// Dense tensors, row-major: the last index runs fastest.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "linalg/element_list.h"

namespace fermix {

struct CompactTensorType {
  std::string Name = "Tensor";
  std::vector<std::uint32_t> Dimensions;  // one for each index; their number is the rank
  std::vector<std::uint8_t> Variant;      // of each index: 1 contravariant, 0 covariant
  ElementList Data;
  bool IsUserdata = false;  // the form that a script gets it in
};

// The number of elements, the product of all dimensions: 1 for rank 0. Throws bad_alloc when it does not fit.
std::size_t TensorSize(const std::vector<std::uint32_t>& dimensions);

// A zero tensor; all indices are covariant.
CompactTensorType InitCompactTensor(std::vector<std::uint32_t> dimensions, bool complex);

// Parts of magnitude strictly below threshold become 0; a complex tensor without imaginary parts left becomes
// real.
void CompactTensorChop(CompactTensorType& t, double threshold);

// Nested braces, elements as in the text of a matrix.
std::string CompactTensorToString(const CompactTensorType& t);

}  // namespace fermix
