// State files of states that scripts can't make, and readers on streams that end or go wrong.
#include "core/state_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace fermix {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File FileWith(const std::string& bytes) {
  File file(std::tmpfile());
  std::fwrite(bytes.data(), 1, bytes.size(), file.get());
  std::rewind(file.get());
  return file;
}

std::string Written(WaveFunctionPrinter printer, const WaveFunctionType& psi) {
  const File file(std::tmpfile());
  EXPECT_EQ(printer(psi, file.get()), 0);
  std::string text(static_cast<std::size_t>(std::ftell(file.get())), '\0');
  std::rewind(file.get());
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), text.size());
  return text;
}

// Random keys within the layout, so that padding stays empty.
WaveFunctionType RandomState(KeyLayout layout, bool complex, int elements) {
  WaveFunctionType psi(layout, complex, 4);
  psi.Name = "random";
  std::mt19937 random(7);
  std::normal_distribution<double> value;
  for (int n = 0; n < elements; ++n) {
    Key key(KeyWords(layout));
    for (std::uint32_t i = 0; i < layout.NFermion; ++i)
      if (random() & 1) key[i / 64] |= OrbitalBit(i);
    for (std::uint32_t b = NFermionBytes(layout.NFermion); b < NWord(layout); ++b)
      SetKeyByte(key.data(), b, static_cast<std::uint8_t>(random()));
    WaveFunctionAddElement(psi, key.data(), {value(random), value(random)});
  }
  return psi;
}

struct Form {
  const char* name;
  WaveFunctionPrinter print;
  int (*read)(WaveFunctionType&, std::FILE*);
  double tolerance;  // relative
};
constexpr Form forms[] = {
    {"plain", StreamPrintWaveFunctionPlain, StreamReadWaveFunctionPlain, 1e-15},
    {"binary", StreamPrintWaveFunctionPlainBinary, StreamReadWaveFunctionPlainBinary, 0}};

TEST(StateFile, RoundTripsKeepKindSpaceElementsAndOrder) {
  for (const Form& form : forms)
    for (const KeyLayout layout : {KeyLayout{20, 0}, KeyLayout{0, 5}, KeyLayout{129, 7}})
      for (const bool complex : {false, true}) {
        SCOPED_TRACE(std::string(form.name) + " " + std::to_string(layout.NFermion));
        const WaveFunctionType psi = RandomState(layout, complex, 50);
        WaveFunctionType back({}, false, 9);
        ASSERT_EQ(form.read(back, FileWith(Written(form.print, psi)).get()), 0);
        EXPECT_EQ(back.Name, "random");
        EXPECT_EQ(back.basis->NBitsKey, 9u);
        EXPECT_EQ(QComplex(back), complex);
        ASSERT_EQ(Layout(back), layout);
        ASSERT_TRUE(QSameBasis(*back.basis, *psi.basis));
        for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
          const Complex16 z = ElementValue(psi, i), difference = ElementValue(back, i) - z;
          EXPECT_LE(Abs(difference), form.tolerance * Abs(z));
        }
      }
}

// Every byte of a good file replaced by every kind of wrong byte: no crash, no endless loop, and whatever is
// read is a state whose unused bits are empty.
TEST(StateFile, DamagedStreamsAreReadOrRefused) {
  const WaveFunctionType psi = RandomState({20, 1}, false, 3), other = RandomState({5, 0}, false, 2);
  for (const Form& form : forms) {
    const std::string text = Written(form.print, psi);
    for (std::size_t place = 0; place < text.size(); ++place)
      for (const char wrong : {'\0', '\n', ' ', '-', '9', 'E', 'x', '\xff'}) {
        std::string damaged = text;
        damaged[place] = wrong;
        WaveFunctionType read = other;
        if (form.read(read, FileWith(damaged).get())) {
          ASSERT_EQ(read.basis, other.basis) << "a state on which a read failed is what it was";
          continue;
        }
        const std::uint32_t NF = Layout(read).NFermion;
        for (std::uint32_t i = 1; i <= ElementCount(read); ++i)
          for (std::uint32_t orbital = NF; orbital < 8 * NFermionBytes(NF); ++orbital)
            ASSERT_FALSE(QOccupied(ElementKey(read, i), orbital));
      }
  }
}

TEST(StateFile, NamesFillOneLine) {
  WaveFunctionType psi({4, 0});
  psi.Name = "two\nlines";
  EXPECT_EQ(Written(StreamPrintWaveFunctionPlain, psi), "two lines\n0\n0\n4\n0\n\n");
}

}  // namespace
}  // namespace fermix
