// The debug print of a state. The index that a basis really has is no chained hash table; what is shown is
// the table that NBitsKey describes.
#include <map>

#include "core/state_file.h"

namespace fermix {

namespace {

// Chains of element numbers: the first of each used slot, and for each element the next one, 0 at the end.
struct Chains {
  std::map<std::uint32_t, std::uint32_t> first;
  std::vector<std::uint32_t> next, slot;
};

Chains BuildChains(const WaveFunctionType& psi) {
  const std::uint32_t N = ElementCount(psi);
  Chains chains;
  chains.next.resize(std::size_t{N} + 1);
  chains.slot.resize(std::size_t{N} + 1);
  std::map<std::uint32_t, std::uint32_t> last;
  for (std::uint32_t i = 1; i <= N; ++i) {
    const std::uint32_t slot = DeterminantHash(ElementKey(psi, i), NWord(Layout(psi)), psi.basis->NBitsKey);
    chains.slot[i] = slot;
    const auto [position, isNew] = last.try_emplace(slot, i);
    if (isNew) {
      chains.first[slot] = i;
    } else {
      chains.next[position->second] = i;
      position->second = i;
    }
  }
  return chains;
}

void PrintSettings(const WaveFunctionType& psi, std::FILE* stream) {
  const KeyLayout& layout = Layout(psi);
  const auto line = [stream](const char* format, std::uint32_t value) {
    std::fprintf(stream, format, static_cast<int>(value));
  };
  std::fprintf(stream, "\nFull printout of WaveFunction: %s\n", psi.Name.c_str());
  std::fputs("\nGenneral settings\n", stream);
  line("QComplex      = %10i (Real==0 or Complex==1)\n", QComplex(psi));
  line("N             = %10i (Number of basis functions used to discribe psi)\n", ElementCount(psi));
  line("NFermion      = %10i (Number of fermions in the one particle basis)\n", layout.NFermion);
  line("NBoson        = %10i (Number of bosons in the one particle basis)\n", layout.NBoson);
  line("NBlok         = %10i (Number of bloks needed to store psi)\n", NBlok(*psi.basis));
  line("NWord         = %10i (NFermion/8)+NBoson\n", NWord(layout));
  line("NBitsKey      = %10i (Size of the key used for the hash table lookup)\n", psi.basis->NBitsKey);
}

// Values are real, or real and imaginary side by side; an index stands where links between elements stood.
void PrintAddresses(const WaveFunctionType& psi, std::FILE* stream) {
  const DeterminantBasis& basis = *psi.basis;
  const auto line = [stream](const char* format, const void* address) {
    std::fprintf(stream, format, address);
  };
  std::visit(
      [&](const auto& values) {
        constexpr bool complex = IsComplex<std::decay_t<decltype(values[0])>>;
        const auto imaginary = [](const void* address) { return complex ? address : nullptr; };
        std::fputs("\nPointer positions (addresses)\n", stream);
        line("**ValueRe     = %p\n", values.blocks.data());
        line("**ValueIm     = %p\n", imaginary(values.blocks.data()));
        line("**Next        = %p\n", basis.buckets.data());
        line("**Determinant = %p\n", basis.keys.blocks.data());
        for (std::size_t b = 0; b < values.usedBlocks(); ++b) {
          std::fprintf(stream, "BlokNr.       = %i\n", static_cast<int>(b));
          line("*ValueRe      = %p\n", values.blocks[b]);
          line("*ValueIm      = %p\n", imaginary(values.blocks[b]));
          line("*Next         = %p\n", basis.buckets.data());
          line("*Determinant  = %p\n", basis.keys.blocks[b]);
        }
      },
      psi.values);
}

}  // namespace

int StreamPrintWaveFunctionFullReadable(const WaveFunctionType& psi, std::FILE* stream) {
  const Chains chains = BuildChains(psi);
  PrintSettings(psi, stream);
  PrintAddresses(psi, stream);
  std::fputs("\nNon-zero elements of Hash Table\n", stream);
  for (const auto& [slot, key] : chains.first)
    std::fprintf(stream, "i= %10i , key= %10i\n", static_cast<int>(slot), static_cast<int>(key));
  std::fputs(QComplex(psi) ? "\n  pre-factor             +I  pre-factor            Pointer Addres  Next_Hash "
                             "Hash_Value   Determinant\n"
                           : "\n  pre-factor            Pointer Addres  Next_Hash Hash_Value   Determinant\n",
             stream);
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const Complex16 value = ElementValue(psi, i);
    std::fprintf(stream, "%20.12E       ", value.re);
    if (QComplex(psi)) std::fprintf(stream, "%20.12E       ", value.im);
    std::fprintf(stream, "%p %10i %10i   ", static_cast<const void*>(ElementKey(psi, i)),
                 static_cast<int>(chains.next[i]), static_cast<int>(chains.slot[i]));
    std::fprintf(stream, "%s\n", DetToHex(Layout(psi), ElementKey(psi, i)).c_str());
  }
  return std::ferror(stream) != 0;
}

}  // namespace fermix
