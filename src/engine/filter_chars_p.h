// Character classes of the text filters.
#pragma once

#include <cstdint>

namespace shadepaint::detail {

// The six white-space characters of PDF syntax.
inline bool is_pdf_space(int32_t c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == 0;
}

// 0 to 15 for a hexadecimal digit of either case, else -1.
inline int32_t hex_digit(int32_t c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace shadepaint::detail
