// Writing one code point as UTF-8: shared by the text conversions of the
// run-time and by the ini cache, which also keeps bytes that were not valid
// UTF-8 when it read them.
#pragma once

#include <cstdint>
#include <string>

namespace ide {

// Appends the UTF-8 form of the code point Cp (at most U+10FFFF) to Out.
inline void AppendUtf8(std::string& Out, uint32_t Cp) {
    if (Cp < 0x80) {
        Out.push_back(static_cast<char>(Cp));
    } else if (Cp < 0x800) {
        Out.push_back(static_cast<char>(0xC0 | (Cp >> 6)));
        Out.push_back(static_cast<char>(0x80 | (Cp & 0x3F)));
    } else if (Cp < 0x10000) {
        Out.push_back(static_cast<char>(0xE0 | (Cp >> 12)));
        Out.push_back(static_cast<char>(0x80 | ((Cp >> 6) & 0x3F)));
        Out.push_back(static_cast<char>(0x80 | (Cp & 0x3F)));
    } else {
        Out.push_back(static_cast<char>(0xF0 | (Cp >> 18)));
        Out.push_back(static_cast<char>(0x80 | ((Cp >> 12) & 0x3F)));
        Out.push_back(static_cast<char>(0x80 | ((Cp >> 6) & 0x3F)));
        Out.push_back(static_cast<char>(0x80 | (Cp & 0x3F)));
    }
}

}  // namespace ide
