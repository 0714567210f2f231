// PNG files from finished bitmaps, for tools and tests. The painter itself never
// writes files; this sits in the engine, the one place that links libpng.
#pragma once

#include "shading/bitmap.h"

namespace shadepaint {

// Writes an 8-bit RGBA file (colour bytes as stored, not premultiplied). Returns
// false, and leaves no file behind, for an empty bitmap (no data, no pixels) or
// when the file can't be created or written completely.
bool write_png(const char* path, const CKXBmp32& bmp);

// Writes an 8-bit gray-with-alpha file, with the same failure rules.
bool write_png(const char* path, const CKXBmpGray& bmp);

}  // namespace shadepaint
