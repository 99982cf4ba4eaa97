#include "host/value_source_script.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace fermix {

namespace {

// x by a format that takes the precision; with one digit more if that text does not read back as x.
std::string ExactText(const char* format, int precision, double x) {
  char text[64];
  std::snprintf(text, sizeof text, format, precision, x);
  if (std::isfinite(x) && std::strtod(text, nullptr) != x)
    std::snprintf(text, sizeof text, format, precision + 1, x);
  return text;
}

// Below this, integers are written in full.
constexpr double largestInteger = 1e16;

std::string NumberText(double x) {
  const bool integer = std::fabs(x) < largestInteger && x == std::floor(x);
  return integer ? ExactText("%.*f", 0, x) : ExactText("%.*G", 16, x);
}

// A number in a column.
std::string ColumnText(double x) { return ExactText("%22.*E", 15, x); }

// The sign before an imaginary part, which is written as its magnitude.
char SignOf(double x) { return std::signbit(x) ? '-' : '+'; }

// A product with an infinite number would lose the real part to 0 times infinity.
void PrintNotFinite(std::FILE* stream, Complex16 z) {
  std::fprintf(stream, "Complex.New( %s , %s )", NumberText(z.re).c_str(), NumberText(z.im).c_str());
}

// A coefficient of a term.
void PrintValue(std::FILE* stream, double x) { std::fputs(ColumnText(x).c_str(), stream); }
void PrintValue(std::FILE* stream, Complex16 z) {
  if (!std::isfinite(z.im)) return PrintNotFinite(stream, z);
  std::fprintf(stream, "%s %c I * %s", ColumnText(z.re).c_str(), SignOf(z.im),
               ColumnText(std::fabs(z.im)).c_str());
}

// The text form that a determinant is read from: a digit for each orbital, two for each mode.
std::string DeterminantText(const KeyLayout& layout, const KeyWord* key) {
  std::string text = DetToString(layout.NFermion, 0, key);
  for (std::uint32_t b = NFermionBytes(layout.NFermion); b < NWord(layout); ++b) {
    constexpr const char* digits = "0123456789ABCDEF";
    text += {' ', digits[KeyByte(key, b) >> 4], digits[KeyByte(key, b) & 15]};
  }
  return text;
}

void PrintRestrictions(std::FILE* stream, const DeterminantRestrictionType& R) {
  if (NRestrictions(R) == 0) return;
  std::fprintf(stream, ", {\"Restrictions\",{ %u, %u", R.layout.NFermion, R.layout.NBoson);
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r)
    std::fprintf(stream, ", {\"%s\",%u,%u}", DeterminantText(R.layout, R.Masks[r].data()).c_str(),
                 R.MinOccupation[r], R.MaxOccupation[r]);
  std::fputs("}}", stream);
}

void PrintField(std::FILE* stream, const char* name, double x) {
  std::fprintf(stream, "[\"%s\"]=%s", name, ColumnText(x).c_str());
}

void PrintSpectrum(std::FILE* stream, const SpectraType& S) {
  std::fputs("{", stream);
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    std::fprintf(stream, "{%s,", ColumnText(S.Emin + static_cast<double>(i) * S.dE).c_str());
    PrintValue(stream, Complex16(S.Re[i], S.Im[i]));
    std::fputs("},\n", stream);
  }
  std::fputs("[\"Name\"]=", stream);
  PrintSource(stream, S.Name);
  std::fputs(",", stream);
  if (!std::isnan(S.ResonantEnergy)) {
    PrintField(stream, "ResonantEnergy", S.ResonantEnergy);
    std::fputs(",", stream);
  }
  PrintField(stream, "EminPole", S.EminPole);
  std::fputs(",", stream);
  PrintField(stream, "EmaxPole", S.EmaxPole);
  std::fputs(",", stream);
  PrintField(stream, "Gamma", S.Gamma);
  std::fputs(",", stream);
  PrintField(stream, "Integral", S.FirstB[0]);
  std::fputs("}", stream);
}

}  // namespace

void PrintSource(std::FILE* stream, double x) { std::fputs(NumberText(x).c_str(), stream); }

void PrintSource(std::FILE* stream, Complex16 z) {
  if (z.im == 0) return PrintSource(stream, z.re);
  if (!std::isfinite(z.im)) return PrintNotFinite(stream, z);
  std::fprintf(stream, "( %s %c I * %s )", NumberText(z.re).c_str(), SignOf(z.im),
               NumberText(std::fabs(z.im)).c_str());
}

void PrintSource(std::FILE* stream, const std::string& text) {
  std::fputc('"', stream);
  for (const char c : text) {
    if (c == '"' || c == '\\' || c == '\n') {
      std::fputc('\\', stream);
      std::fputc(c, stream);
    } else if (std::iscntrl(static_cast<unsigned char>(c))) {
      std::fprintf(stream, "\\%03d", c);  // three digits, whatever follows
    } else {
      std::fputc(c, stream);
    }
  }
  std::fputc('"', stream);
}

void PrintSource(std::FILE* stream, const OperatorType& O) {
  std::fprintf(stream, "NewOperator( %u, %u,{\n", O.layout.NFermion, O.layout.NBoson);
  const char* open = " {";
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, const auto& value) {
    std::fputs(open, stream);
    // The last element of a string is the leftmost factor of the product.
    for (std::uint32_t i = length; i-- > 0;)
      std::fprintf(stream, "%c%4u,", QCreation(lader[i]) ? ' ' : '-', LadderOrbital(lader[i]));
    PrintValue(stream, value);
    std::fputs(" }", stream);
    open = ",\n {";
  });
  std::fputs("},\n{{\"Name\",", stream);
  PrintSource(stream, O.Name);
  std::fputs("},{\"NBitsKey\",{", stream);
  for (std::uint32_t length = 1; length <= MaxLength(O); ++length)
    std::fprintf(stream, length == 1 ? "%u" : ",%u", O.l[length].NBitsKey);
  std::fputs("}}", stream);
  PrintRestrictions(stream, O.Restrictions);
  std::fputs("})", stream);
}

void PrintSource(std::FILE* stream, const WaveFunctionType& psi) {
  std::fprintf(stream, "NewWavefunction( %u, %u,{\n", Layout(psi).NFermion, Layout(psi).NBoson);
  std::visit(
      [&](const auto& values) {
        for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
          std::fprintf(stream, i == 1 ? " {\"%s\"," : ",\n {\"%s\",",
                       DeterminantText(Layout(psi), ElementKey(psi, i)).c_str());
          PrintValue(stream, values[i]);
          std::fputs(" }", stream);
        }
      },
      psi.values);
  std::fputs("},\n{{\"Name\",", stream);
  PrintSource(stream, psi.Name);
  std::fprintf(stream, "},{\"NBitsKey\",%u}})", psi.basis->NBitsKey);
}

void PrintSource(std::FILE* stream, const SpectraTypeArray& S) {
  std::fputs("Spectra.FromTable({\n", stream);
  for (const SpectraType& s : S.spectra) {
    PrintSpectrum(stream, s);
    std::fputs(",\n", stream);
  }
  if (!S.Name.empty()) {
    std::fputs("[\"Name\"]=", stream);
    PrintSource(stream, S.Name);
  }
  std::fputs("})", stream);
}

}  // namespace fermix
