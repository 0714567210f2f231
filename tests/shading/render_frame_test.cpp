// The band frame: which bitmaps are banded, which rows each band gets, and
// what each band record holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "shading/bitmap.h"
#include "shading/render_band.h"
#include "shading/render_frame_p.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

using testing::kOne;

std::mutex g_seen_lock;
std::vector<PDF_RENDER_BAND> g_seen;

void capture(void* arg) {
    std::lock_guard<std::mutex> hold(g_seen_lock);
    g_seen.push_back(*static_cast<PDF_RENDER_BAND*>(arg));
}

struct Band {
    int32_t first, rows;
};

// The bands of a mask of w x h in row order.
std::vector<Band> bands_of(int32_t w, int32_t h, const _KXMATRIX& m, const _KXPOINT& origin,
                           std::vector<PDF_RENDER_BAND>* records = nullptr) {
    // The capturing worker reads no pixel; the storage only has to hold the
    // band starts.
    std::vector<uint8_t> mask_bytes(3 * 1024), dst_bytes(20 * 1024);
    CKXBmp8 mask(mask_bytes.data(), w, h, 3);
    CKXBmp32 dst(dst_bytes.data(), w, h, 20);
    g_seen.clear();
    EXPECT_EQ(detail::render_frame(nullptr, m, origin, mask, dst, &capture), 1);
    std::vector<PDF_RENDER_BAND> seen = g_seen;
    std::sort(seen.begin(), seen.end(), [](const PDF_RENDER_BAND& a, const PDF_RENDER_BAND& b) {
        return a.m_mask_row < b.m_mask_row;
    });
    std::vector<Band> out;
    for (const PDF_RENDER_BAND& b : seen) {
        const auto first = static_cast<int32_t>((b.m_mask_row - mask.m_data) / 3);
        EXPECT_EQ(b.m_dst_row, dst.m_data + static_cast<ptrdiff_t>(first) * 20);
        EXPECT_EQ(b.m_mask_stride, 3);
        EXPECT_EQ(b.m_dst_stride, 20);
        EXPECT_EQ(b.m_width, w);
        out.push_back({first, b.m_height});
    }
    if (records) *records = seen;
    return out;
}

TEST(RenderFrame, BandsAroundTheThresholds) {
    struct Case {
        int32_t w, h;
        std::vector<Band> bands;
        const char* why;
    };
    // clang-format off
    const Case cases[] = {
        {100, 400, {{0, 400}}, "exactly 40000 pixels: one band"},
        {101, 400, {{0, 100}, {100, 100}, {200, 100}, {300, 100}}, "40400 pixels"},
        {6000, 7, {{0, 7}}, "42000 pixels but under 8 rows"},
        {5000, 8, {{0, 8}}, "8 rows but exactly 40000 pixels"},
        {5001, 8, {{0, 2}, {2, 2}, {4, 2}, {6, 2}}, "8 rows: two each"},
        {1000, 103, {{0, 25}, {25, 25}, {50, 25}, {75, 28}}, "the caller takes the remainder"},
        {40001, 1, {{0, 1}}, "one row"},
        {65536, 65536, {{0, 65536}}, "the 32-bit product wraps to 0"},
        {0, 0, {{0, 0}}, "empty"},
        {-5, 100000, {{0, 100000}}, "negative width: negative product"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const std::vector<Band> got = bands_of(c.w, c.h, _KXMATRIX::identity(), _KXPOINT{0, 0});
        ASSERT_EQ(got.size(), c.bands.size());
        for (size_t i = 0; i < got.size(); ++i) {
            EXPECT_EQ(got[i].first, c.bands[i].first) << i;
            EXPECT_EQ(got[i].rows, c.bands[i].rows) << i;
        }
    }
}

// Each band starts from an exact transform of its first pixel, not from row
// steps added up, and all bands share the steps.
TEST(RenderFrame, EachBandRestartsFromItsFirstRow) {
    const _KXMATRIX m = {KXFIX::from_raw(55009271),  KXFIX::from_raw(38474460),
                         KXFIX::from_raw(-38474460), KXFIX::from_raw(55009271),
                         KXFIX::from_raw(12345678),  KXFIX::from_raw(-7 * kOne)};
    _KXMATRIX inv = m;
    inv.do_invert();
    const _KXPOINT origin = {-40, 2147483600};  // the row sum wraps in 32 bits
    std::vector<PDF_RENDER_BAND> records;
    const std::vector<Band> got = bands_of(1000, 103, m, origin, &records);
    ASSERT_EQ(got.size(), 4u);
    KXFIX cx = KXFIX::from_raw(kOne), cy{0}, rx{0}, ry = KXFIX::from_raw(kOne);
    inv.transform_delta(cx, cy);
    inv.transform_delta(rx, ry);
    for (size_t i = 0; i < records.size(); ++i) {
        SCOPED_TRACE(i);
        KXFIX x = KXFIX::from_int(origin.x);
        KXFIX y = KXFIX::from_int(static_cast<int32_t>(static_cast<uint32_t>(origin.y) +
                                                       static_cast<uint32_t>(got[i].first)));
        inv.transform_point(x, y);
        EXPECT_EQ(records[i].m_start_x.m_raw, x.m_raw);
        EXPECT_EQ(records[i].m_start_y.m_raw, y.m_raw);
        EXPECT_EQ(records[i].m_col_dx.m_raw, cx.m_raw);
        EXPECT_EQ(records[i].m_col_dy.m_raw, cy.m_raw);
        EXPECT_EQ(records[i].m_row_dx.m_raw, rx.m_raw);
        EXPECT_EQ(records[i].m_row_dy.m_raw, ry.m_raw);
    }
}

// Coverage scales alpha without rounding (full coverage of an opaque colour
// is 254); gray weighs red, green and blue as 306, 601 and 117 of 1024.
TEST(RenderFrame, Stores) {
    struct Case {
        _KXRGBA c;  // b, g, r, a
        uint32_t coverage;
        uint8_t gray, alpha;
    };
    // clang-format off
    const Case cases[] = {
        {{0, 0, 255, 255}, 255, 76, 254}, {{0, 255, 0, 255}, 128, 149, 127},
        {{255, 0, 0, 255}, 1, 29, 0},     {{255, 255, 255, 255}, 255, 255, 254},
        {{9, 8, 7, 100}, 200, 7, 78},
    };
    // clang-format on
    for (const Case& c : cases) {
        uint8_t bgra[4] = {}, ga[2] = {};
        detail::store_bgra::put(bgra, c.c, c.coverage);
        detail::store_gray::put(ga, c.c, c.coverage);
        const uint8_t expected[4] = {c.c.b, c.c.g, c.c.r, c.alpha};
        EXPECT_EQ(std::memcmp(bgra, expected, 4), 0) << int{c.c.r} << " at " << c.coverage;
        EXPECT_EQ(ga[0], c.gray) << int{c.c.r};
        EXPECT_EQ(ga[1], c.alpha) << int{c.c.r};
    }
}

}  // namespace
}  // namespace shadepaint
