// Messages of the regular expression engine. Every failure of the engine is an
// EREError carrying one of these texts.
#pragma once

namespace ide {

inline constexpr const char* SErrorNotFound = "No match found for regular expression";
inline constexpr const char* SErrorInvalidParameter = "Invalid parameter";
inline constexpr const char* SErrorOutOfMemory = "Out of memory";  // declared, never raised
inline constexpr const char* SErrorTooManySubExps = "Too many sub-expressions";
inline constexpr const char* SErrorUnmatchedParens = "Unmatched \"(\"";
inline constexpr const char* SErrorInvalidRepeat = "Invalid use of a repeat";
inline constexpr const char* SErrorNestedRepeat = "Nested repeats not allowed";
inline constexpr const char* SErrorInvalidRange = "Invalid range specifier";
inline constexpr const char* SErrorUnmatchedBracket = "Unmatched \"[\"";
inline constexpr const char* SErrorTrailingBackslash = R"(Trailing "\\" not allowed)";  // two backslashes
inline constexpr const char* SErrorInternal = "*** internal RE error ***";
inline constexpr const char* SErrorStepBudget =
    "Regular expression search stopped: it took more steps than its budget allows (the pattern backtracks too much)";

}  // namespace ide
