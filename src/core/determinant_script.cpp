#include "core/determinant_script.h"

#include <algorithm>
#include <cctype>

#include "host/base/status.h"

namespace fermix {

namespace {

// Orbitals of the last fermion byte that exist.
std::uint8_t LastByteMask(std::uint32_t NFermion) {
  return static_cast<std::uint8_t>(0xff00 >> ((NFermion - 1) % 8 + 1));
}

void ClearPadding(Key& key, std::uint32_t NFermion, bool warn) {
  if (NFermion == 0) return;
  const std::uint32_t last = NFermionBytes(NFermion) - 1;
  const std::uint8_t byte = KeyByte(key.data(), last), allowed = LastByteMask(NFermion);
  if ((byte & ~allowed) == 0) return;
  if (warn)
    Say("Warning: Determinant has electrons in states larger than NFermion (det=%02x allowed=%02x)\n", byte,
        allowed);
  SetKeyByte(key.data(), last, byte & allowed);
}

// The first place in text that can't stand in a determinant, text.size() if there is none.
std::size_t WrongCharacter(const std::string& text, std::uint32_t NFermion) {
  std::uint32_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool insideMode = digits > NFermion && (digits - NFermion) % 2 == 1;
    if (text[i] == ' ' && !insideMode) continue;
    const bool fits = digits < NFermion ? text[i] == '0' || text[i] == '1'
                                        : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!fits) return i;
    ++digits;
  }
  return text.size();
}

}  // namespace

int DeterminantTextLength(const std::string& text) {
  return static_cast<int>(text.size() - std::count(text.begin(), text.end(), ' '));
}

bool QDeterminantText(const std::string& text, const KeyLayout& layout) {
  return DeterminantTextLength(text) == static_cast<std::int64_t>(layout.NFermion) + 2 * layout.NBoson &&
         WrongCharacter(text, layout.NFermion) == text.size();
}

Key CheckDeterminantBytes(lua_State* L, int index, const KeyLayout& layout, int number, const char* words,
                          bool warn) {
  if (!lua_istable(L, index) || lua_rawlen(L, index) != NWord(layout))
    luaL_error(L, words, number, static_cast<int>(NWord(layout)));
  std::vector<std::uint8_t> bytes;
  lua_check(L, index, bytes);
  Key key(KeyWords(layout));
  for (std::uint32_t b = 0; b < NWord(layout); ++b) SetKeyByte(key.data(), b, bytes[b]);
  ClearPadding(key, layout.NFermion, warn);
  return key;
}

Key CheckDeterminant(lua_State* L, int index, const KeyLayout& layout, int number,
                     const DeterminantTexts& texts) {
  index = lua_absindex(L, index);
  if (!lua_isstring(L, index)) return CheckDeterminantBytes(L, index, layout, number, texts.words, true);
  std::string text;
  lua_check(L, index, text);
  if (DeterminantTextLength(text) != static_cast<std::int64_t>(layout.NFermion) + 2 * layout.NBoson)
    luaL_error(L, texts.length, DeterminantTextLength(text), static_cast<int>(layout.NFermion),
               static_cast<int>(layout.NBoson));
  const std::size_t wrong = WrongCharacter(text, layout.NFermion);
  if (wrong < text.size())
    ScriptError(L,
                "Error in StringToDet, expected \"1\", \"0\" or \" \" on position %d of the string, got %c\n",
                static_cast<int>(wrong), text[wrong]);
  return StringToDet(layout.NFermion, layout.NBoson, text);
}

}  // namespace fermix
