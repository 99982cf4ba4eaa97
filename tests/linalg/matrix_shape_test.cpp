#include "linalg/matrix_shape.h"

#include "linalg/compact_tensor.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

// Element (i, j) is 10 i + j.
CompactMatrixType Numbered(std::uint32_t Ni, std::uint32_t Nj) {
  CompactMatrixType m = InitCompactMatrix(Ni, Nj, false);
  for (std::uint32_t i = 0; i < Ni; ++i)
    for (std::uint32_t j = 0; j < Nj; ++j) std::get<0>(m.Data)[i * Nj + j] = 10 * i + j;
  return m;
}

std::vector<double> Elements(const CompactMatrixType& m) { return std::get<0>(m.Data); }

TEST(Submatrix, IsCutByLimitsOrIndices) {
  const CompactMatrixType m = Numbered(4, 3);
  CompactMatrixType s;
  ASSERT_EQ(Submatrix(m, 1, 2, 0, 1, s), 0);
  EXPECT_EQ(Elements(s), (std::vector<double>{10, 11, 20, 21}));
  ASSERT_EQ(Submatrix(m, {2, 0, 2}, s), 0);
  EXPECT_EQ(Elements(s), (std::vector<double>{22, 20, 22, 2, 0, 2, 22, 20, 22}));
  testing::internal::CaptureStdout();
  EXPECT_EQ(Submatrix(m, 1, 0, 0, 1, s), 1);
  EXPECT_EQ(Submatrix(m, 0, 4, 0, 1, s), 1);
  EXPECT_EQ(Submatrix(m, {3}, s), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "Error in Submatrix: Invalid parameters: rows 1 to 0 and columns 0 to 1 of a matrix with 4 rows and "
      "3 columns\n"
      "Error in Submatrix: Invalid parameters: rows 0 to 4 and columns 0 to 1 of a matrix with 4 rows and "
      "3 columns\n"
      "Error in Submatrix: index 3 out of range.\n");
}

TEST(MatrixFlatten, JoinsBlocksOfAgreeingSizes) {
  const CompactMatrixType a = Numbered(1, 2), b = Numbered(2, 1);
  CompactMatrixType c = Numbered(1, 1), m;
  std::get<0>(c.Data)[0] = 7;
  ASSERT_EQ(MatrixFlatten({{&a, &c}, {nullptr, &b}}, m), 0);
  EXPECT_EQ(m.Ni, 3u);
  EXPECT_EQ(Elements(m), (std::vector<double>{0, 1, 7, 0, 0, 0, 0, 0, 10}));
  testing::internal::CaptureStdout();
  ASSERT_EQ(MatrixFlatten({{&a}, {nullptr}, {&a}}, m), 0);
  EXPECT_EQ(m.Ni, 2u);
  EXPECT_EQ(MatrixFlatten({{&a, &b}}, m), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nWarning: Row 1 of matrix is empty and will be ignored.\n"
            "Error in MatrixFlatten: block at row 0 and column 1 has 2 rows, another block beside it 1\n");
  MakeCompactRealMatrixComplex(c);
  ASSERT_EQ(MatrixFlatten({{&c}, {&c}}, m), 0);
  EXPECT_TRUE(IsComplexMatrix(m));
  ASSERT_EQ(MatrixFlatten({}, m), 0);
  EXPECT_EQ(m.Ni + m.Nj, 0u);
}

TEST(MatrixExpand, FillsTheNewDiagonal) {
  const CompactMatrixType m = MatrixExpand(Numbered(2, 2), 3, 5);
  EXPECT_EQ(Elements(m), (std::vector<double>{0, 1, 0, 10, 11, 0, 0, 0, 5}));
  EXPECT_EQ(CompactMatrixElement(MatrixExpand(Numbered(1, 1), 2, {0, 1}), 1, 1), Complex16(0, 1));
  testing::internal::CaptureStdout();
  EXPECT_EQ(Elements(MatrixExpand(Numbered(1, 2), 3, 5)), std::vector<double>{0});
  EXPECT_EQ(Elements(MatrixExpand(Numbered(2, 2), 1, 5)), std::vector<double>{0});
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "Error in MatrixExpand: Input of nono-quadratic Matrix (size 1 times 2).\n"
      "Error in MatrixExpand: New size 1 of expanded matrix must be larger than or equal to old size 2.\n");
}

TEST(MatrixEnlarge, RepeatsOnDiagonalsAndIsUndone) {
  const CompactMatrixType m = Numbered(2, 3), twice = MatrixEnlarge(m, 2), thrice = MatrixEnlarge(m, 3);
  for (std::uint32_t i = 0; i < thrice.Ni; ++i)
    for (std::uint32_t j = 0; j < thrice.Nj; ++j)
      EXPECT_EQ(CompactMatrixElement(thrice, i, j),
                i % 3 == j % 3 ? CompactMatrixElement(m, i / 3, j / 3) : Complex16(0));
  EXPECT_EQ(Elements(MatrixRemoveSpin(twice)), Elements(m));
  EXPECT_EQ(MatrixEnlarge(m, 0).Ni, 0u);
  EXPECT_THROW(MatrixEnlarge(m, 4294967295u), std::bad_alloc);
}

TEST(CompactTensor, HasSizeTextAndChop) {
  CompactTensorType t = InitCompactTensor({2, 1, 2}, true);
  EXPECT_EQ(t.Name, "Tensor");
  EXPECT_EQ(t.Variant, std::vector<std::uint8_t>(3, 0));
  t.Data = std::vector<Complex16>{{1, 1e-20}, 2, {1e-20, 0}, -4};
  CompactTensorChop(t, 1e-15);
  ASSERT_EQ(t.Data.index(), 0u);
  EXPECT_EQ(CompactTensorToString(t), "{ { {  1      ,  2      }} ,\n  { {  0      , -4      }}}\n");
  EXPECT_EQ(TensorSize({}), 1u);
  EXPECT_EQ(CompactTensorToString(InitCompactTensor({3, 0}, false)), "");
  EXPECT_THROW(InitCompactTensor({4294967295u, 4294967295u, 4294967295u}, false), std::bad_alloc);
}

}  // namespace
}  // namespace fermix
