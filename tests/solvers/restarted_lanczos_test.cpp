#include "solvers/restarted_lanczos.h"

#include "host/base/verbosity.h"
#include "printed.h"

namespace fermix {
namespace {

TEST(TimeToDeflate, SparesRitzVectorsThatAreNotNull) {
  // Scale 9 + 16; with zero = 0.01 a squared norm below 0.25 has vanished.
  KrylovMatrix<double> T{3, std::vector<double>(9)};
  T(0, 0) = 3;
  T(1, 1) = -4;
  const struct {
    double norm, zero;
    std::uint32_t level, width, restart;
    bool deflate;
    const char* line;
  } cases[] = {
      {0.6, 0.01, 2, 2, 1, false, ""},
      {0.4, 0.01, 2, 2, 1, true, ""},
      {0.4, -0.01, 2, 2, 1, true, ""},  // the magnitude counts
      {0.4, 0.01, 2, 3, 1, true, ""},   // first restart: start vectors may depend on each other
      {0.4, 0.01, 2, 2, 2, true, ""},   // behind the block
      {0.4, 0.01, 2, 3, 2, false,
       "  According to the norm we should deflate, but we do not want to make the number of states asked 3 "
       "smaller so we should not deflate at level 2 at loop 2\n"},
      {1e-160, 0.01, 2, 3, 2, true,
       "  Deflating below the number of states asked from 3 to 2 at level 2 at loop 2\n"},
      {0, 0, 2, 2, 1, true, ""},  // a null vector can't be normalised
  };
  for (const auto& c : cases) {
    GlobalVerbosity = 256;
    bool deflate = !c.deflate;
    EXPECT_EQ(Printed([&] {
                deflate = TimeToDeflateInBlockLanczosKrylov(c.norm, c.zero, c.level, c.width, T, c.restart);
              }),
              c.line);
    EXPECT_EQ(deflate, c.deflate);
    GlobalVerbosity = 0;
  }
}

}  // namespace
}  // namespace fermix
