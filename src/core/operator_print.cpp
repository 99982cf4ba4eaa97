#include "core/operator_print.h"

#include <unordered_map>

#include "host/base/text.h"

namespace fermix {

namespace {

int Int(std::size_t n) { return static_cast<int>(n); }

// The string of term n, leftmost factor of the product first, and its value.
void AddTermText(std::string& text, const OperatorFixedLengthType& t, std::uint32_t length, std::uint32_t n) {
  for (std::uint32_t k = length; k-- > 0;) {
    const LadderIndex l = t.o[std::size_t{n} * length + k];
    sprintfAdd(text, "%c%3i ", QCreation(l) ? 'C' : 'A', Int(LadderOrbital(l)));
  }
  const Complex16 z = TermValue(t, n);
  if (QComplexTable(t)) {
    sprintfAdd(text, "| %22.15E %22.15E", z.re, z.im);
  } else {
    sprintfAdd(text, "| %22.15E", z.re);
  }
}

// For each term the next one on its chain, as numbers from 1; 0 ends a chain. The table itself may have more
// slots than the setting NBitsKey says, and orders its chains otherwise.
std::vector<std::uint32_t> ChainLinks(const OperatorFixedLengthType& t) {
  std::vector<std::uint32_t> next(TermCount(t));
  if (t.o.empty()) return next;  // the constant is on no chain
  const std::uint32_t slots = ~(~std::uint32_t{0} << (t.NBitsKey % 32));
  std::unordered_map<std::uint32_t, std::uint32_t> following;
  for (std::uint32_t n = TermCount(t); n-- > 0;) {
    std::uint32_t& later = following[t.Hash[n] & slots];
    next[n] = later;
    later = n + 1;
  }
  return next;
}

void AddTableRecord(std::string& text, const OperatorFixedLengthType& t, std::uint32_t length) {
  const auto* VRe = std::get_if<std::vector<double>>(&t.values);
  const auto* V = std::get_if<std::vector<Complex16>>(&t.values);
  const auto address = [](const auto* array) {
    return static_cast<const void*>(array ? array->data() : nullptr);
  };
  sprintfAdd(text, "&l[%3i]       = %p   (Pointer addres of fixed length variable)\n", Int(length),
             static_cast<const void*>(&t));
  sprintfAdd(text, "NBitsKey      = %10i (Number of bits in the key)\n", Int(t.NBitsKey));
  sprintfAdd(text, "NAloc         = %10i (Size of the allocated memory)\n",
             Int(VRe ? VRe->capacity() : V->capacity()));
  sprintfAdd(text, "*o            = %p   (Pointer addres of the determinant list)\n", address(&t.o));
  sprintfAdd(text,
             "*Next         = %p   (Pointer addres of the list of next operators with the same hash value)\n",
             address(&t.Next));
  sprintfAdd(text, "*KeyList      = %p   (Pointer addres of the KeyList)\n", address(&t.KeyList));
  sprintfAdd(text, "*VRe          = %p   (Pointer addres of the list with Real values for real operators)\n",
             address(VRe));
  sprintfAdd(text,
             "*V            = %p   (Pointer addres of the list of complex values for complex operators)\n",
             address(V));
  const std::vector<std::uint32_t> next = ChainLinks(t);
  for (std::uint32_t n = 0; n < TermCount(t); ++n) {
    sprintfAdd(text, "%4i | ", Int(n));
    AddTermText(text, t, length, n);
    sprintfAdd(text, " | -> %10i\n", Int(next[n]));
  }
}

}  // namespace

std::string StringPrintOperatorReadable(const OperatorType& O) {
  std::string text;
  sprintfAdd(text, "\nOperator: %s\n", O.Name.c_str());
  sprintfAdd(text, "QComplex         = %10i (Real==0 or Complex==1 or Mixed==2)\n", Int(QComplex(O)));
  sprintfAdd(text, "MaxLength        = %10i (largest number of product of lader operators)\n",
             Int(MaxLength(O)));
  sprintfAdd(text, "NFermionic modes = %10i (Number of fermions in the one particle basis)\n",
             Int(O.layout.NFermion));
  sprintfAdd(text, "NBosonic modes   = %10i (Number of bosons in the one particle basis)\n",
             Int(O.layout.NBoson));
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length) {
    const OperatorFixedLengthType& t = O.l[length];
    if (TermCount(t) == 0) continue;
    sprintfAdd(text, "\nOperator of Length %3i\n", Int(length));
    sprintfAdd(text, "QComplex      = %10i (Real==0 or Complex==1)\n", Int(QComplexTable(t)));
    sprintfAdd(text, "N             = %10i (number of operators of length %3i)\n", Int(TermCount(t)),
               Int(length));
    for (std::uint32_t n = 0; n < TermCount(t); ++n) {
      AddTermText(text, t, length, n);
      text += '\n';
    }
  }
  return text += '\n';
}

std::string StringPrintOperatorFullReadable(const OperatorType& O) {
  std::string text;
  sprintfAdd(text, "\nprintout of Operator: %s\n", O.Name.c_str());
  sprintfAdd(text, "QComplex      = %10i (Real==0 or Complex==1 or Mixed==2)\n", Int(QComplex(O)));
  sprintfAdd(text, "MaxLength     = %10i (largest number of product of lader operators)\n",
             Int(MaxLength(O)));
  sprintfAdd(text,
             "NWord         = %10i (Number of fermions/8+ number of bosons in the one particle basis)\n",
             Int(NWord(O.layout)));
  sprintfAdd(text, "*l            = %p   (Pointer addres of the Fixed Lenght Operator Type structures)\n",
             static_cast<const void*>(O.l.data()));
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length) AddTableRecord(text, O.l[length], length);
  return text;
}

void StreamPrintOperatorReadable(const OperatorType& O, std::FILE* stream) {
  std::fputs(StringPrintOperatorReadable(O).c_str(), stream);
}

void StreamPrintOperatorFullReadable(const OperatorType& O, std::FILE* stream) {
  std::fputs(StringPrintOperatorFullReadable(O).c_str(), stream);
}

}  // namespace fermix
