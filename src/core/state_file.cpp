#include "core/state_file.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/base/status.h"

namespace fermix {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

int WriteStatus(std::FILE* stream) { return std::ferror(stream) != 0; }

// --- Writing

// One line of a name, whatever it holds.
std::string NameLine(const WaveFunctionType& psi) {
  std::string line = psi.Name;
  for (char& c : line)
    if (c == '\n' || c == '\r') c = ' ';
  return line;
}

void PrintHeader(const WaveFunctionType& psi, std::FILE* stream) {
  std::fprintf(stream, "%s\n%i\n%i\n%i\n%i\n", NameLine(psi).c_str(), QComplex(psi) ? 1 : 0,
               static_cast<int>(ElementCount(psi)), static_cast<int>(Layout(psi).NFermion),
               static_cast<int>(Layout(psi).NBoson));
}

void PrintKey(const WaveFunctionType& psi, std::uint32_t i, std::FILE* stream) {
  constexpr char digits[] = "0123456789ABCDEF";
  const KeyWord* key = ElementKey(psi, i);
  for (std::uint32_t b = 0; b < NWord(Layout(psi)); ++b) {
    const std::uint8_t byte = KeyByte(key, b);
    std::putc(digits[byte >> 4], stream);
    std::putc(digits[byte & 15], stream);
  }
  std::putc('\n', stream);
}

// Calls f(i, value) for all elements, with values of their kind.
template <class F>
void ForEachElement(const WaveFunctionType& psi, F&& f) {
  std::visit(
      [&](const auto& values) {
        for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) f(i, values[i]);
      },
      psi.values);
}

// --- Reading

struct Header {
  std::string Name;
  bool complex = false;
  std::uint32_t N = 0;
  KeyLayout layout;
};

// A line of less than size characters without its end; false at the end of the stream.
bool ReadLine(std::FILE* stream, int size, std::string& line) {
  line.resize(static_cast<std::size_t>(size));
  if (!std::fgets(line.data(), size, stream)) return false;
  line.resize(std::strlen(line.c_str()));
  if (line.empty() || line.back() != '\n') return false;  // also a stream of zero bytes
  line.pop_back();
  return true;
}

// A line that begins with an integer in 0 .. most.
bool ReadCount(std::FILE* stream, std::uint32_t most, std::uint32_t& value) {
  std::string line;
  if (!ReadLine(stream, 1023, line)) return false;
  char* end = nullptr;
  const long long x = std::strtoll(line.c_str(), &end, 10);
  if (end == line.c_str() || x < 0 || x > static_cast<long long>(most)) return false;
  value = static_cast<std::uint32_t>(x);
  return true;
}

bool ReadHeader(std::FILE* stream, Header& header) {
  constexpr std::uint32_t MaxParticles = 65536, MaxElements = 0xfffffffe;
  std::uint32_t complex = 0;
  if (!ReadLine(stream, 258, header.Name) || !ReadCount(stream, 1, complex) ||
      !ReadCount(stream, MaxElements, header.N) || !ReadCount(stream, MaxParticles, header.layout.NFermion) ||
      !ReadCount(stream, MaxParticles - header.layout.NFermion, header.layout.NBoson))
    return false;
  header.complex = complex == 1;
  header.Name.resize(std::min<std::size_t>(header.Name.size(), 255));
  return true;
}

// One element in text; false when it is none.
struct TextElement {
  template <class T>
  static bool Read(std::FILE* stream, T& value, std::uint8_t* key, std::uint32_t bytes) {
    double re = 0, im = 0;
    if (std::fscanf(stream, "%63lf", &re) != 1) return false;
    if constexpr (IsComplex<T>) {
      if (std::fscanf(stream, "%63lf", &im) != 1) return false;
      value = T(re, im);
    } else {
      value = re;
    }
    if (std::getc(stream) != ' ') return false;
    for (std::uint32_t b = 0; b < bytes; ++b) {
      const int high = HexDigit(std::getc(stream)), low = HexDigit(std::getc(stream));
      if (high < 0 || low < 0) return false;
      key[b] = static_cast<std::uint8_t>(16 * high + low);
    }
    return SkipToEndOfLine(stream);
  }

  static int HexDigit(int c) {
    if (!std::isxdigit(c)) return -1;
    return std::isdigit(c) ? c - '0' : std::toupper(c) - 'A' + 10;
  }
  // False when anything but blanks is on the way.
  static bool SkipToEndOfLine(std::FILE* stream) {
    int c = std::getc(stream);
    while (c == ' ' || c == '\r' || c == '\t') c = std::getc(stream);
    return c == '\n' || c == EOF;
  }
};

struct BinaryElement {
  template <class T>
  static bool Read(std::FILE* stream, T& value, std::uint8_t* key, std::uint32_t bytes) {
    return std::fread(&value, sizeof(T), 1, stream) == 1 &&
           (bytes == 0 || std::fread(key, 1, bytes, stream) == bytes);
  }
};

template <class Form, class T>
int ReadElements(WaveFunctionType& psi, std::FILE* stream, std::uint32_t N, const char* reader) {
  const KeyLayout layout = Layout(psi);
  // Memory follows what was read, never what the header claims.
  std::vector<std::uint8_t> bytes;
  Key key;
  OrSay("malloc for det failed in StreamReadWaveFunctionPlain\n", [&] {
    bytes.resize(NWord(layout));
    key.resize(KeyWords(layout));
  });
  const std::uint32_t padding = 8 * NFermionBytes(layout.NFermion) - layout.NFermion;
  for (std::uint32_t i = 1; i <= N; ++i) {
    T value{};
    if (!Form::Read(stream, value, bytes.data(), NWord(layout)))
      return Fail("Error in %s, element %u of %u can't be read\n", reader, i, N);
    if (std::isnan(Re(value)) || std::isnan(Im(value)))
      return Fail("Error in %s, the value of element %u is not a number\n", reader, i);
    if (padding && bytes[NFermionBytes(layout.NFermion) - 1] & ((1u << padding) - 1))
      return Fail("Error in %s, element %u occupies orbitals beyond the %u of the basis\n", reader, i,
                  layout.NFermion);
    for (std::uint32_t b = 0; b < NWord(layout); ++b) SetKeyByte(key.data(), b, bytes[b]);
    WaveFunctionAddElement(psi, key.data(), value);
  }
  return 0;
}

template <class Form>
int ReadState(WaveFunctionType& psi, std::FILE* stream, const char* reader) {
  Header header;
  if (!ReadHeader(stream, header)) return Fail("Error in %s, this is no file of a wave function\n", reader);
  WaveFunctionType read = OrSay("WaveFunctionInit failed in StreamReadWaveFunctionPlain\n", [&] {
    return WaveFunctionType(header.layout, header.complex, psi.basis->NBitsKey);
  });
  read.Name = header.Name;
  const int status = header.complex ? ReadElements<Form, Complex16>(read, stream, header.N, reader)
                                    : ReadElements<Form, double>(read, stream, header.N, reader);
  if (status == 0) psi = std::move(read);
  return status;
}

}  // namespace

int StreamPrintWaveFunctionPlain(const WaveFunctionType& psi, std::FILE* stream) {
  PrintHeader(psi, stream);
  ForEachElement(psi, [&](std::uint32_t i, auto value) {
    std::fprintf(stream, "%23.15E ", Re(value));
    if constexpr (IsComplex<decltype(value)>) std::fprintf(stream, "%23.15E ", Im(value));
    PrintKey(psi, i, stream);
  });
  std::putc('\n', stream);
  return WriteStatus(stream);
}

int StreamPrintWaveFunctionPlainBinary(const WaveFunctionType& psi, std::FILE* stream) {
  PrintHeader(psi, stream);
  std::vector<std::uint8_t> bytes(NWord(Layout(psi)));
  ForEachElement(psi, [&](std::uint32_t i, auto value) {
    for (std::uint32_t b = 0; b < bytes.size(); ++b) bytes[b] = KeyByte(ElementKey(psi, i), b);
    std::fwrite(&value, sizeof(value), 1, stream);
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), stream);
  });
  return WriteStatus(stream);
}

int StreamPrintWaveFunctionReadable(const WaveFunctionType& psi, std::FILE* stream) {
  std::fprintf(stream, "\nWaveFunction: %s\n", psi.Name.c_str());
  std::fprintf(stream, "QComplex         = %10i (Real==0 or Complex==1)\n", QComplex(psi) ? 1 : 0);
  std::fprintf(stream, "N                = %10i (Number of basis functions used to discribe psi)\n",
               static_cast<int>(ElementCount(psi)));
  std::fprintf(stream, "NFermionic modes = %10i (Number of fermions in the one particle basis)\n",
               static_cast<int>(Layout(psi).NFermion));
  std::fprintf(stream, "NBosonic modes   = %10i (Number of bosons in the one particle basis)\n",
               static_cast<int>(Layout(psi).NBoson));
  std::fputs(QComplex(psi) ? "\n#      pre-factor             +I  pre-factor         Determinant\n"
                           : "\n#      pre-factor         Determinant\n",
             stream);
  ForEachElement(psi, [&](std::uint32_t i, auto value) {
    std::fprintf(stream, "%4i %20.12E       ", static_cast<int>(i), Re(value));
    if constexpr (IsComplex<decltype(value)>) std::fprintf(stream, "%20.12E       ", Im(value));
    PrintKey(psi, i, stream);
  });
  std::putc('\n', stream);
  return WriteStatus(stream);
}

std::string StringPrintWaveFunctionReadable(const WaveFunctionType& psi) {
  char* text = nullptr;
  std::size_t size = 0;
  int status = 1;
  if (const File stream{open_memstream(&text, &size)})
    status = StreamPrintWaveFunctionReadable(psi, stream.get()) | (std::fflush(stream.get()) != 0);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
  if (status || !text) throw std::bad_alloc();
  return std::string(text, size);
}

int FilePrintWaveFunction(WaveFunctionPrinter printer, const WaveFunctionType& psi, const char* path,
                          const char* mode) {
  File file(std::fopen(path, mode));
  if (!file) return Fail("ERROR\nCan't open %s for writing with mode %s.\n", path, mode);
  int status = printer(psi, file.get());
  status |= std::fclose(file.release()) != 0;
  return status ? Fail("ERROR\nCan't write all of the wave function to %s.\n", path) : 0;
}

int StreamReadWaveFunctionPlain(WaveFunctionType& psi, std::FILE* stream) {
  return ReadState<TextElement>(psi, stream, "StreamReadWaveFunctionPlain");
}

int StreamReadWaveFunctionPlainBinary(WaveFunctionType& psi, std::FILE* stream) {
  return ReadState<BinaryElement>(psi, stream, "StreamReadWaveFunctionPlain");
}

int FileReadWaveFunction(WaveFunctionType& psi, const char* path, bool binary) {
  const File file(std::fopen(path, "rb"));
  if (!file) return Fail("ERROR\nCan't open %s for reading.\n", path);
  WaveFunctionType read({}, false, psi.basis->NBitsKey);
  const int status = binary ? StreamReadWaveFunctionPlainBinary(read, file.get())
                            : StreamReadWaveFunctionPlain(read, file.get());
  if (status) return status;
  int c = std::getc(file.get());
  while (!binary && (c == '\n' || c == '\r' || c == ' ')) c = std::getc(file.get());
  if (c != EOF) return Fail("Error in reading %s, the file goes on behind the last element\n", path);
  psi = std::move(read);
  return 0;
}

}  // namespace fermix
