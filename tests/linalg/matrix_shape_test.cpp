// What matrix shapes print when they can't be; what they do is checked through scripts.
#include "linalg/matrix_shape.h"

#include "linalg/compact_tensor.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

TEST(MatrixShape, RefusalsAreNamed) {
  const CompactMatrixType m = InitCompactMatrix(4, 3, false), row = RealMatrix(1, 2, {1, 2}),
                          i2 = Identity(2);
  CompactMatrixType s;
  EXPECT_EQ(
      Printed([&] {
        EXPECT_EQ(Submatrix(m, 1, 0, 0, 1, s), 1);
        EXPECT_EQ(Submatrix(m, 0, 4, 0, 1, s), 1);
        EXPECT_EQ(Submatrix(m, {3}, s), 1);
        EXPECT_EQ(MatrixFlatten({{&row, &i2}}, s), 1);
        EXPECT_EQ(MatrixFlatten({{&row}, {nullptr}, {&row}}, s), 0);
        EXPECT_EQ(MatrixExpand(row, 3, 5).Ni + MatrixExpand(i2, 1, 5).Ni, 2u);
      }),
      "Error in Submatrix: Invalid parameters: rows 1 to 0 and columns 0 to 1 of a matrix with 4 rows and "
      "3 columns\n"
      "Error in Submatrix: Invalid parameters: rows 0 to 4 and columns 0 to 1 of a matrix with 4 rows and "
      "3 columns\n"
      "Error in Submatrix: index 3 out of range.\n"
      "Error in MatrixFlatten: block at row 0 and column 1 has 2 rows, another block beside it 1\n"
      "\nWarning: Row 1 of matrix is empty and will be ignored.\n"
      "Error in MatrixExpand: Input of nono-quadratic Matrix (size 1 times 2).\n"
      "Error in MatrixExpand: New size 1 of expanded matrix must be larger than or equal to old size 2.\n");
  EXPECT_EQ(std::get<0>(s.Data), (std::vector<double>{1, 2, 1, 2}));
}

TEST(CompactTensor, HasSizeTextAndChop) {
  CompactTensorType t = InitCompactTensor({2, 1, 2}, true);
  t.Data = std::vector<Complex16>{{1, 1e-20}, 2, {1e-20, 0}, -4};
  CompactTensorChop(t, 1e-15);
  ASSERT_EQ(t.Data.index(), 0u);
  EXPECT_EQ(CompactTensorToString(t), "{ { {  1      ,  2      }} ,\n  { {  0      , -4      }}}\n");
  EXPECT_EQ(CompactTensorToString(InitCompactTensor({3, 0}, false)), "");
  EXPECT_THROW(InitCompactTensor({4294967295u, 4294967295u, 4294967295u}, false), std::bad_alloc);
}

}  // namespace
}  // namespace fermix
