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
    for (const KeyLayout layout : {KeyLayout{20, 0}, KeyLayout{3, 2}, KeyLayout{0, 5}, KeyLayout{129, 7}})
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
  psi.Name = std::string(255, 'n');
  WaveFunctionType back;
  ASSERT_EQ(StreamReadWaveFunctionPlain(back, FileWith(Written(StreamPrintWaveFunctionPlain, psi)).get()), 0);
  EXPECT_EQ(back.Name, psi.Name);
}

// The chains of the full print: each element once, in rising order, under its own hash.
TEST(StateFile, FullPrintShowsTheChainsOfTheHashTable) {
  const WaveFunctionType psi = RandomState({20, 0}, false, 60);  // 16 slots
  const std::string text = Written(StreamPrintWaveFunctionFullReadable, psi);
  std::size_t place = text.find("Hash Table\n") + 11;
  std::vector<int> first(16, 0);
  int slot = 0, key = 0, length = 0;
  for (; std::sscanf(text.c_str() + place, "i= %d , key= %d\n%n", &slot, &key, &length) == 2; place += length)
    first.at(slot) = key;
  place = text.find("Determinant\n", place) + 12;
  std::vector<int> next(61), hashes(61);
  for (int i = 1; i <= 60; ++i) {
    char pointer[40];
    double value = 0;
    ASSERT_EQ(std::sscanf(text.c_str() + place, "%lf %39s %d %d", &value, pointer, &next[i], &hashes[i]), 4);
    place = text.find('\n', place) + 1;
  }
  EXPECT_EQ(place, text.size());
  int walked = 0;
  for (int s = 0; s < 16; ++s)
    for (int i = first[s], before = 0; i != 0; before = i, i = next[i], ++walked) {
      EXPECT_GT(i, before);
      EXPECT_EQ(hashes[i], s);
      EXPECT_EQ(static_cast<int>(DeterminantHash(ElementKey(psi, i), 3, 4)), s);
    }
  EXPECT_EQ(walked, 60);
}

}  // namespace
}  // namespace fermix
