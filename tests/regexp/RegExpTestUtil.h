// Helpers shared by the regular expression tests.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "regexp/IDERegExpComp.h"

namespace retest {

inline ide::String U(const char* s) { return ide::Str(s); }
inline std::string S(const ide::String& s) { return ide::Utf8(s); }

// Runs F and expects an EREError with exactly Message.
template <class F>
::testing::AssertionResult RaisesRE(F&& Fn, const char* Message) {
    try {
        Fn();
    } catch (const ide::EREError& e) {
        if (std::string(e.what()) == Message) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "raised \"" << e.what() << "\", expected \"" << Message << "\"";
    } catch (const std::exception& e) {
        return ::testing::AssertionFailure() << "raised a non-EREError: " << e.what();
    }
    return ::testing::AssertionFailure() << "raised nothing, expected \"" << Message << "\"";
}

}  // namespace retest
