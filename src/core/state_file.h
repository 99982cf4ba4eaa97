// States as text and in files: the forms that people read, and the two forms that are read back.
//
// Plain text:  name, QComplex, N, NFermion, NBoson, a line each; then for each element one line with its
// value
//              (two numbers when complex) and its key in hexadecimal digits; an empty line.
// Binary:      the same five header lines, then for each element 8 bytes of value (16 when complex) in the
//              machine's byte order and the NWord bytes of the key.
// Neither keeps NBitsKey. Writers and readers give status 1 after a line that says what is wrong.
#pragma once

#include <cstdio>
#include <string>

#include "core/wave_function.h"

namespace fermix {

[[nodiscard]] int StreamPrintWaveFunctionPlain(const WaveFunctionType& psi, std::FILE* stream);
[[nodiscard]] int StreamPrintWaveFunctionPlainBinary(const WaveFunctionType& psi, std::FILE* stream);
// A table of values and keys.
[[nodiscard]] int StreamPrintWaveFunctionReadable(const WaveFunctionType& psi, std::FILE* stream);
// All that there is, for debugging: addresses, and the chains that a hash table of 2^NBitsKey slots has when
// the elements are entered in their order, each at the end of its chain.
[[nodiscard]] int StreamPrintWaveFunctionFullReadable(const WaveFunctionType& psi, std::FILE* stream);

// What StreamPrintWaveFunctionReadable writes.
std::string StringPrintWaveFunctionReadable(const WaveFunctionType& psi);

// A stream form into the file at path, opened in mode. Status 1 after a line when it can't be opened or not
// all was written.
using WaveFunctionPrinter = int (*)(const WaveFunctionType&, std::FILE*);
[[nodiscard]] int FilePrintWaveFunction(WaveFunctionPrinter printer, const WaveFunctionType& psi,
                                        const char* path, const char* mode);

// Read a state; psi keeps its NBitsKey, takes all else from the stream, and is left alone on failure.
// Elements are added, so equal keys sum. Refused: a stream that ends early, what is no number or no key,
// values that are not a number, occupied orbitals beyond NFermion.
[[nodiscard]] int StreamReadWaveFunctionPlain(WaveFunctionType& psi, std::FILE* stream);
[[nodiscard]] int StreamReadWaveFunctionPlainBinary(WaveFunctionType& psi, std::FILE* stream);
// The file at path in either form; whatever but blanks follows the last element is refused, too.
[[nodiscard]] int FileReadWaveFunction(WaveFunctionType& psi, const char* path, bool binary);

}  // namespace fermix
