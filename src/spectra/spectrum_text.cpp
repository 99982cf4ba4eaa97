// The text file format of spectra.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/base/status.h"
#include "host/base/text.h"
#include "spectra/spectrum.h"

namespace fermix {

namespace {

// A line of the heading: a title of 19 characters and two numbers for each spectrum.
void AddHeading(DynamicString& text, const std::vector<SpectraType>& S, const char* title,
                double SpectraType::*first, double SpectraType::*second) {
  text += title;
  for (const SpectraType& s : S) sprintfAdd(text, " %22.15E %22.15E", s.*first, s.*second);
  text += '\n';
}

void AddColumnTitles(DynamicString& text, std::size_t columns) {
  text += "Energy             ";
  for (int i = 0; i < static_cast<int>(std::min<std::size_t>(columns, 10000)); ++i) {
    if (i < 10) {
      sprintfAdd(text, "  Re[%1i]                  Im[%1i]                ", i, i);
    } else if (i < 100) {
      sprintfAdd(text, "  Re[%2i]                 Im[%2i]               ", i, i);
    } else if (i < 1000) {
      sprintfAdd(text, "  Re[%3i]                Im[%3i]              ", i, i);
    } else {
      sprintfAdd(text, "  Re[%4i]               Im[%4i]             ", i, i);
    }
  }
  text += '\n';
}

std::string Heading(const std::vector<SpectraType>& S) {
  DynamicString text;
  sprintfAdd(text, "#Spectra: %i\n", static_cast<int>(S.size()));
  AddHeading(text, S, "Emin______Emax     ", &SpectraType::Emin, &SpectraType::Emax);
  AddHeading(text, S, "EminPole__EmaxPole ", &SpectraType::EminPole, &SpectraType::EmaxPole);
  AddHeading(text, S, "dE________Gamma    ", &SpectraType::dE, &SpectraType::Gamma);
  AddColumnTitles(text, S.size());
  return text;
}

// Number of lines with data.
std::size_t PointLines(const std::vector<SpectraType>& S) {
  std::size_t lines = 0;
  for (const SpectraType& s : S) lines = std::max(lines, s.Re.size());
  return lines;
}

void AddPointLine(DynamicString& text, const std::vector<SpectraType>& S, std::size_t p) {
  sprintfAdd(text, "%19.12E", static_cast<double>(p) * S[0].dE + S[0].Emin);
  for (const SpectraType& s : S) {
    const bool inside = p < s.Re.size();
    sprintfAdd(text, " %22.15E %22.15E", inside ? s.Re[p] : 0.0, inside ? s.Im[p] : 0.0);
  }
  text += '\n';
}

}  // namespace

std::string StringPrintSpectra(const std::vector<SpectraType>& S) {
  return OrSay("ERROR: malloc failed in StringPrintSpectra\n", [&] {
    std::string text = Heading(S);
    for (std::size_t p = 0; p < PointLines(S); ++p) AddPointLine(text, S, p);
    return text;
  });
}

void StreamPrintSpectra(const std::vector<SpectraType>& S, std::FILE* stream) {
  std::string line = Heading(S);
  std::fwrite(line.data(), 1, line.size(), stream);
  for (std::size_t p = 0; p < PointLines(S); ++p) {
    line.clear();
    AddPointLine(line, S, p);
    std::fwrite(line.data(), 1, line.size(), stream);
  }
}

int FilePrintSpectra(const std::vector<SpectraType>& S, const char* path, const char* mode) {
  if (std::strcmp(mode, "w") != 0 && std::strcmp(mode, "a") != 0)
    return Fail(
        "ERROR in FilePrintSpectra.\nmode must be either \"w\" for overwrite or \"a\" for append\n %s as "
        "input is not excepted\n",
        mode);
  std::FILE* file = std::fopen(path, mode);
  if (!file) return Fail("ERROR\nCan't open %s for writing with mode %s.\n", path, mode);
  StreamPrintSpectra(S, file);
  const bool failed = std::ferror(file);
  return std::fclose(file) || failed ? Fail("ERROR\nCan't write to %s.\n", path) : 0;
}

}  // namespace fermix
