// Shared helpers of the settings tests: a temporary directory that is also
// the registry directory, file helpers, and a message matcher.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "settings/Registry.h"

namespace ide::test {

// A fresh directory per test, used as IDE_REGISTRY_DIR; the shared hives are
// forgotten before and after so tests never see each other's.
class TempDir : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/ide-settings-XXXXXX";
        ASSERT_NE(::mkdtemp(tmpl), nullptr);
        Dir = tmpl;
        ::setenv("IDE_REGISTRY_DIR", Dir.c_str(), 1);
        THive::ResetAll();
    }
    void TearDown() override {
        THive::ResetAll();
        std::string cmd = "rm -rf '" + Dir + "'";
        (void)std::system(cmd.c_str());
    }
    std::string PathOf(const std::string& name) const { return Dir + "/" + name; }
    static std::string ReadFile(const std::string& path) {
        std::ifstream f(path, std::ios::binary);
        std::stringstream s;
        s << f.rdbuf();
        return s.str();
    }
    static void WriteFile(const std::string& path, const std::string& bytes) {
        std::ofstream f(path, std::ios::binary);
        f << bytes;
    }
    std::string Dir;
};

template <class E, class F>
std::string MessageOf(F f) {
    try {
        f();
    } catch (const E& e) {
        return e.what();
    }
    return "no exception";
}

}  // namespace ide::test
