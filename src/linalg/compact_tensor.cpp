#include "linalg/compact_tensor.h"

#include <new>

#include "host/base/status.h"

namespace fermix {

std::size_t TensorSize(const std::vector<std::uint32_t>& dimensions) {
  std::size_t size = 1;
  for (const std::uint32_t n : dimensions)
    if (__builtin_mul_overflow(size, std::size_t{n}, &size)) throw std::bad_alloc();
  return size;
}

CompactTensorType InitCompactTensor(std::vector<std::uint32_t> dimensions, bool complex) {
  CompactTensorType t;
  const std::size_t size = TensorSize(dimensions);
  if (size > std::vector<Complex16>().max_size()) throw std::bad_alloc();
  if (complex) {
    t.Data = std::vector<Complex16>(size);
  } else {
    t.Data = std::vector<double>(size);
  }
  t.Variant.assign(dimensions.size(), 0);
  t.Dimensions = std::move(dimensions);
  return t;
}

void CompactTensorChop(CompactTensorType& t, double threshold) {
  OrSay("calloc failed in MakeCompactComplexTensorReal\n", [&] { ChopElements(t.Data, threshold); });
}

namespace {

template <class T>
void AppendLevel(std::string& text, const CompactTensorType& t, const std::vector<T>& data, std::size_t level,
                 std::size_t& position) {
  if (level == t.Dimensions.size()) {
    text += ElementText(data[position++]);
    return;
  }
  text += "{ ";
  for (std::uint32_t i = 0; i < t.Dimensions[level]; ++i) {
    if (i > 0) text += level + 1 < t.Dimensions.size() ? " ,\n" + std::string(2 * (level + 1), ' ') : ", ";
    AppendLevel(text, t, data, level + 1, position);
  }
  text += "}";
}

}  // namespace

std::string CompactTensorToString(const CompactTensorType& t) {
  std::string text;
  if (TensorSize(t.Dimensions) == 0) return text;
  std::size_t position = 0;
  std::visit([&](const auto& data) { AppendLevel(text, t, data, 0, position); }, t.Data);
  return text + "\n";
}

}  // namespace fermix
