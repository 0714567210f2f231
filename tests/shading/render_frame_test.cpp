// The band frame: which bitmaps are banded, which rows each band gets, and
// what each band record holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "shading/render_frame_p.h"
#include "shading_test_util.h"

namespace shadepaint {
namespace {

std::mutex g_seen_lock;
std::vector<PDF_RENDER_BAND> g_seen;

void capture(void* arg) {
    std::lock_guard<std::mutex> hold(g_seen_lock);
    g_seen.push_back(*static_cast<PDF_RENDER_BAND*>(arg));
}

// Banded only from 8 rows and above 40000 pixels, the 32-bit product
// deciding; the caller's band takes the remainder. Each band's rows of mask
// and picture start together, and each band starts from an exact transform
// of its first pixel, not from row steps added up; all bands share the steps.
TEST(RenderFrame, BandThresholdsAndStarts) {
    // clang-format off
    const std::vector<int32_t> cases[] = {  // width, height, then the rows of each band
        {100, 400, 400}, {101, 400, 100, 100, 100, 100}, {6000, 7, 7}, {5000, 8, 8},
        {5001, 8, 2, 2, 2, 2}, {1000, 103, 25, 25, 25, 28}, {65536, 65536, 65536}};  // wraps to 0
    // clang-format on
    const _KXPOINT origin = {-40, 2147483600};  // the row sum wraps in 32 bits
    // The capturing worker reads no pixel: strides 3 and 20 need room for
    // band starts only.
    static uint8_t mask_bytes[3 * 1024], dst_bytes[20 * 1024];
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c[0] << "x" << c[1]);
        CKXBmp8 mask(mask_bytes, c[0], c[1], 3);
        CKXBmp32 dst(dst_bytes, c[0], c[1], 20);
        g_seen.clear();
        EXPECT_EQ(detail::render_frame(nullptr, testing::kSkewed, origin, mask, dst, &capture), 1);
        std::sort(g_seen.begin(), g_seen.end(),
                  [](const auto& a, const auto& b) { return a.m_mask_row < b.m_mask_row; });
        ASSERT_EQ(g_seen.size() + 2, c.size());
        for (size_t i = 0, first = 0; i < g_seen.size(); first += c[2 + i], ++i) {
            const PDF_RENDER_BAND& got = g_seen[i];
            const PDF_RENDER_BAND want = testing::whole_band(
                nullptr, testing::kSkewed, {origin.x, static_cast<int32_t>(origin.y + first)},
                CKXBmp8(nullptr, 1, 1, 1), nullptr, 0);
            EXPECT_EQ(got.m_mask_row - mask_bytes, static_cast<ptrdiff_t>(3 * first));
            EXPECT_EQ(got.m_dst_row - dst_bytes, static_cast<ptrdiff_t>(20 * first));
            EXPECT_TRUE(got.m_height == c[2 + i] && got.m_width == c[0]) << i;
            // The steps and the start, six KXFIX, stand last in the record.
            EXPECT_EQ(std::memcmp(&got.m_col_dx, &want.m_col_dx, 6 * sizeof(KXFIX)), 0) << i;
        }
    }
}

}  // namespace
}  // namespace shadepaint
