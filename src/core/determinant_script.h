// Determinants in scripts: a text such as "1100", the number 1100, or a table of the bytes of the key.
#pragma once

#include "core/determinant.h"
#include "host/script.h"

namespace fermix {

// The texts with which a list of determinants refuses one.
struct DeterminantTexts {
  const char* length;  // "%d %d %d": length without blanks, NFermion, NBoson
  const char* words;   // "%d %d": number of the determinant, NWord
};

// Reads the determinant at index, the one of that number in its list.
Key CheckDeterminant(lua_State* L, int index, const KeyLayout& layout, int number,
                     const DeterminantTexts& texts);

// The form as a table, which must have one entry for each byte, else an error with the text words. Bits
// beyond NFermion are cleared, after a warning if warn is set.
Key CheckDeterminantBytes(lua_State* L, int index, const KeyLayout& layout, int number, const char* words,
                          bool warn);

// Length of a determinant's text without blanks, and whether that is what the layout asks for.
int DeterminantTextLength(const std::string& text);
bool QDeterminantText(const std::string& text, const KeyLayout& layout);

}  // namespace fermix
