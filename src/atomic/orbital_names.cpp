#include "atomic/orbital_names.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/base/status.h"

namespace fermix {

namespace {

bool QLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)); }
bool QDigit(char c) { return c >= '0' && c <= '9'; }
char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// The place of a letter in a list of shells, which is l; -1 if it is not in it.
int PlaceOfLetter(std::string_view shells, char letter) {
  const auto place = shells.find(Lower(letter));
  return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

// Shells by rising l. Detailed names skip the j, as spectroscopists do; names of orbitals count it, so that k
// is one higher there.
constexpr std::string_view detailedLetters = "spdfghik", orbitalLetters = "spdfghijklmno";

// Reads an integer at the start of text and takes it off.
bool TakeInteger(std::string_view& text, int& value) {
  const char *begin = text.data(), *end = begin + text.size();
  if (text.size() > 1 && text[0] == '+' && QDigit(text[1])) ++begin;
  const auto [rest, error] = std::from_chars(begin, end, value);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return true;
}

}  // namespace

int ShellNameToL(char letter) { return PlaceOfLetter(detailedLetters, letter); }

int artificialOrbitalMultiplicity(const std::string& name) {
  const auto underscore = name.rfind('_');
  if (underscore == std::string::npos || name.back() != 'a') return -1;
  std::string_view digits(name);
  digits = digits.substr(underscore + 1, name.size() - underscore - 2);
  int multiplicity = 0;
  const bool decimal = !digits.empty() && QDigit(digits[0]) && TakeInteger(digits, multiplicity);
  return decimal && digits.empty() && multiplicity <= UINT16_MAX ? multiplicity : -1;
}

int orbToMultiplicity(const std::string& name, bool withSpin) {
  if (const int artificial = artificialOrbitalMultiplicity(name); artificial >= 0) return artificial;
  const int l = name.empty() ? -1 : PlaceOfLetter(orbitalLetters, name.back());
  if (l >= 0) return (withSpin ? 2 : 1) * (2 * l + 1);
  std::size_t place;
  const int states = withSpin ? relAngularMomentumZNumbers(name, place) : -1;
  if (states < 0)
    Say("\nCould not interpret orbital \"%s\" as either relativistic or non-relativistic atomic orbital, "
        "returning %d\n",
        name.c_str(), states);
  return states;
}

std::vector<int> orbsToMultiplicities(const OrbitalNames& names, bool withSpin) {
  std::vector<int> multiplicities;
  for (const auto& name : names) multiplicities.push_back(orbToMultiplicity(name, withSpin));
  return multiplicities;
}

int relAngularMomentumZNumbers(const std::string& name, std::size_t& place) {
  constexpr auto npos = std::string::npos;
  const auto two = name.find_last_not_of(" \t");
  if (two == npos || two == 0 || name[two] != '2') return -1;
  const auto digit = name.find_last_not_of(" \t/", two - 1);
  if (digit == npos || !QDigit(name[digit])) return -1;
  const int twoJ = name[digit] - '0';
  if (twoJ % 2 == 0) return -1;
  place = digit;
  return twoJ + 1;
}

bool QRelativistic(const std::string& name) {
  std::size_t place;
  return relAngularMomentumZNumbers(name, place) >= 0;
}

int kappa(const std::string& name) {
  std::size_t digit = 0;
  const int states = relAngularMomentumZNumbers(name, digit);
  const auto letter = std::find_if(name.rend() - static_cast<std::ptrdiff_t>(digit), name.rend(), QLetter);
  const int l = states < 0 || letter == name.rend() ? -1 : PlaceOfLetter(orbitalLetters, *letter);
  if (l < 0) {
    Say("\nWarning: Key \"%s\" could not be interpreted as a relativistic orbital, kappa is set to 0.\n",
        name.c_str());
    return 0;
  }
  return states > 2 * l + 1 ? -states / 2 : states / 2;
}

std::vector<int> kappas(const OrbitalNames& names) {
  std::vector<int> list;
  for (const auto& name : names) list.push_back(kappa(name));
  return list;
}

std::string cutRelPart(const std::string& name) {
  std::size_t digit = name.size();
  relAngularMomentumZNumbers(name, digit);
  return name.substr(0, digit);
}

bool QOrbsBelongTogether(const std::string& a, const std::string& b) {
  return cutRelPart(a) == cutRelPart(b);
}

OrbitalNames nonRelToRelOrbs(const OrbitalNames& names) {
  OrbitalNames result;
  for (const auto& name : names) {
    const int n = QRelativistic(name) ? 0 : orbToMultiplicity(name, true);
    const auto withJ = [&](int twoJ) { return name + std::to_string(twoJ) + "/2"; };
    if (n <= 0 || n % 4 != 2) {
      result.push_back(name);
    } else if (n == 2) {
      result.push_back(withJ(1));
    } else {
      result.push_back(withJ(n / 2));
      result.push_back(withJ(n / 2 - 2));
    }
  }
  return result;
}

OrbitalNames relToNonRelOrbs(const OrbitalNames& names) {
  OrbitalNames result;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!QRelativistic(names[i])) {
      result.push_back(names[i]);
      continue;
    }
    if (kappa(names[i]) != -1) {
      ++i;
      const bool pair =
          i < names.size() && QRelativistic(names[i]) && QOrbsBelongTogether(names[i - 1], names[i]);
      if (!pair) {
        Say("Error: Need a pair of relativistic orbitals to convert them to a non-relativistic one, unless "
            "l=0.\n");
        return result;
      }
    }
    result.push_back(cutRelPart(names[i]));
  }
  return result;
}

OrbitalNames groupedRelOrbitals(const OrbitalNames& names) {
  OrbitalNames result;
  std::vector<bool> used(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (used[i]) continue;
    result.push_back(names[i]);
    if (!QRelativistic(names[i]) || kappa(names[i]) == -1) continue;
    for (std::size_t k = i + 1; k < names.size(); ++k) {
      if (used[k] || !QRelativistic(names[k]) || !QOrbsBelongTogether(names[i], names[k])) continue;
      result.push_back(names[k]);
      used[k] = true;
      break;
    }
  }
  return result;
}

bool isOrbElementOf(const std::string& name, const OrbitalNames& list) {
  const auto contains = [&](const OrbitalNames& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  if (contains(list)) return true;
  return contains(QRelativistic(name) ? nonRelToRelOrbs(list) : relToNonRelOrbs(groupedRelOrbitals(list)));
}

OrbitalNames orbsSortedByKappa(const OrbitalNames& names) {
  OrbitalNames sorted = nonRelToRelOrbs(names);
  std::vector<std::pair<int, std::string>> keyed;
  for (const auto& name : sorted) keyed.emplace_back(kappa(name), name);
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::transform(keyed.begin(), keyed.end(), sorted.begin(), [](const auto& key) { return key.second; });
  return sorted;
}

std::int64_t NumberOfFermionicStates(const OrbitalNames& names) {
  std::int64_t sum = 0;
  for (int multiplicity : orbsToMultiplicities(names, true)) sum += multiplicity;
  return sum;
}

int ReadNonRelativisticOrbital(const std::string& name, NonRelativisticOrbital& orbital) {
  const auto fail = [&](const char* format) {
    Say(format, name.c_str());
    return 1;
  };
  NonRelativisticOrbital result;
  std::string_view rest(name);
  const bool numbered = !rest.empty() && QDigit(rest[0]) && TakeInteger(rest, result.n);
  if (!numbered || rest.empty())
    return fail("ERROR: Failed to read principle quantum number and angular momentum form string \"%s\"\n");
  const char letter = rest[0];
  rest.remove_prefix(1);
  result.l = ShellNameToL(letter);
  if (result.l < 0) {
    Say("ERROR: Failed to read angular momentum form string \"%s\", found '%c'\n", name.c_str(), letter);
    return 1;
  }
  if (!rest.empty()) {
    const bool withSpin = rest.find('_') != std::string_view::npos;
    result.mGiven = TakeInteger(rest, result.m);
    if (withSpin && result.mGiven && rest[0] == '_') {
      rest.remove_prefix(1);
      result.sGiven = TakeInteger(rest, result.s);
    }
    if (!result.mGiven || withSpin != result.sGiven || !rest.empty())
      return fail(withSpin ? "ERROR: Failed to read m and s form string \"%s\""
                           : "ERROR: Failed to read m form string \"%s\"\n");
  }
  if (std::abs(static_cast<long long>(result.m)) > result.l)
    return fail("ERROR: abs(m) larger than l in orbital \"%s\"");
  orbital = result;
  return 0;
}

std::string LPlusJAndJzToOrbitalName(int lPlusJ, int jz) {
  constexpr const char* shells[] = {"s1/2", "p1/2", "p3/2", "d3/2", "d5/2", "f5/2", "f7/2", "g7/2", "g9/2"};
  constexpr int count = static_cast<int>(std::size(shells));
  const std::string shell = 0 <= lPlusJ && lPlusJ < count ? shells[lPlusJ] : "??";
  return shell + (jz > 0 ? "+" : "") + std::to_string(2LL * jz - 1) + "/2";
}

}  // namespace fermix
