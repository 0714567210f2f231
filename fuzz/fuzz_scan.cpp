// Polygons of any coordinates through both scan converters, one converter of
// each kind reused for all polygons of an input, as a shading reuses it. The
// first four bytes are typed fields: the picture's width and height (0 to
// 47 each) and its origin in pixels (-128 to 127 each). Then each polygon is
// a corner count byte (1 to 8) and that many corners of twelve bytes: x and y
// in 1/128 pixel and a colour word, whose low 32 bits are also the ramp
// value. Each polygon is painted by all four entry points.
#include <cstdint>
#include <cstring>

#include "mesh/path_crender.h"
#include "mesh/path_crender2.h"
#include "numeric/kxscan.h"
#include "shading/bitmap.h"

using namespace shadepaint;

namespace {

constexpr size_t kHeaderBytes = 4;
constexpr size_t kCornerBytes = 12;
constexpr int32_t kMaxSide = 48;
constexpr int32_t kMaxCorners = 8;
constexpr int32_t kMaxPolygons = 64;

struct Corner {
    int32_t x, y;
    uint32_t word;
};

Corner read_corner(const uint8_t* p) {
    Corner c;
    std::memcpy(&c.x, p, 4);
    std::memcpy(&c.y, p + 4, 4);
    std::memcpy(&c.word, p + 8, 4);
    return c;
}

_KXRGBA rgba_of(uint32_t w) {
    _KXRGBA c;
    std::memcpy(&c, &w, 4);
    return c;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeaderBytes) return 0;
    const int32_t width = data[0] % kMaxSide, height = data[1] % kMaxSide;
    const int32_t org_x = scan_from_pixels(static_cast<int8_t>(data[2]));
    const int32_t org_y = scan_from_pixels(static_cast<int8_t>(data[3]));
    CKXBmp32 colour(width, height);
    CKXBmpGray gray(width, height);
    _KXRGBA ramp[256];
    unsigned char gray_ramp[256];
    for (int i = 0; i < 256; ++i) {
        ramp[i] = _KXRGBA{static_cast<uint8_t>(i), 0, static_cast<uint8_t>(255 - i), 255};
        gray_ramp[i] = static_cast<unsigned char>(i);
    }
    CKXPathCRender path;
    CKXPathCRender2 path2;

    size_t pos = kHeaderBytes;
    for (int32_t polygon = 0; polygon < kMaxPolygons && pos < size; ++polygon) {
        const int32_t n = 1 + data[pos++] % kMaxCorners;
        if ((size - pos) / kCornerBytes < static_cast<size_t>(n)) break;
        path.begin(0, 0, 0);
        path.begin(org_x, org_y, height);
        path2.begin(0, 0, 0);
        path2.begin(org_x, org_y, height);
        for (int32_t k = 0; k < n; ++k, pos += kCornerBytes) {
            const Corner c = read_corner(data + pos);
            if (k == 0) {
                // The first point is written directly, its origin taken off in
                // 32 bits as the shadings do.
                path.m_start_x = path.m_cur_x = static_cast<int32_t>(
                    static_cast<uint32_t>(c.x) - static_cast<uint32_t>(path.m_org_x));
                path.m_start_y = path.m_cur_y = static_cast<int32_t>(
                    static_cast<uint32_t>(c.y) - static_cast<uint32_t>(path.m_org_y));
                path.m_start_rgba = path.m_cur_rgba = rgba_of(c.word);
                path2.m_start_x = path2.m_cur_x = path.m_start_x;
                path2.m_start_y = path2.m_cur_y = path.m_start_y;
                path2.m_start_value = path2.m_cur_value = static_cast<int32_t>(c.word);
            } else {
                path.line_to(c.x, c.y, rgba_of(c.word));
                path2.line_to(c.x, c.y, static_cast<int32_t>(c.word));
            }
        }
        const auto close_x = static_cast<int32_t>(static_cast<uint32_t>(path.m_start_x) +
                                                  static_cast<uint32_t>(path.m_org_x));
        const auto close_y = static_cast<int32_t>(static_cast<uint32_t>(path.m_start_y) +
                                                  static_cast<uint32_t>(path.m_org_y));
        path.line_to(close_x, close_y, path.m_start_rgba);
        path2.line_to(close_x, close_y, path2.m_start_value);
        path.render_smooth(&colour);
        path.render_smoothg(&gray);
        path2.render_smooth(&colour, ramp);
        path2.render_smoothg(&gray, gray_ramp);
    }
    return 0;
}
