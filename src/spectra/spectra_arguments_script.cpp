#include "spectra/spectra_arguments_script.h"

#include "core/space_check.h"

namespace fermix {

TwoStepArguments ReadTwoStepArguments(lua_State* L, int first, const char* caller) {
  TwoStepArguments arguments{ReadRecords<OperatorType>(L, first), ReadRecords<OperatorType>(L, first + 1),
                             ReadRecords<WaveFunctionType>(L, first + 2)};
  const char* const empty = arguments.T1.empty()    ? "transition operators (1)"
                            : arguments.T2.empty()  ? "transition operators (2)"
                            : arguments.psi.empty() ? "wave functions"
                                                    : nullptr;
  if (empty) luaL_error(L, "Errof %s called with a table of %s of length 0\n", caller, empty);
  return arguments;
}

void RequireSpaceOf(const OperatorType& H, const char* name, const TwoStepArguments& arguments) {
  for (const OperatorType* T : arguments.T1)
    RequireSameSpace(T->layout, "Transition operator (1)", H.layout, name);
  for (const OperatorType* T : arguments.T2)
    RequireSameSpace(T->layout, "Transition operator (2)", H.layout, name);
  for (const WaveFunctionType* state : arguments.psi)
    RequireSameSpace(Layout(*state), "Wave-function", H.layout, name);
}

}  // namespace fermix
