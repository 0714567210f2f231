// What the demo and render commands share: one shading object, painted through
// a full coverage mask into a new bitmap and written as a PNG file.
#pragma once

#include <cstdint>
#include <string>

#include "engine/xref_table.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"

namespace shadepaint::cli {

// Largest picture the commands make, per side and in all: far above any
// gallery or preview size, and small enough that the bitmaps fit in memory.
constexpr int32_t kMaxSide = 16384;
constexpr int64_t kMaxPixels = int64_t{1} << 26;

struct PaintRequest {
    const CPDFObj* shading = nullptr;  // the shading dictionary or stream, or a reference
    _KXMATRIX matrix = _KXMATRIX::identity();
    int32_t width = 0;
    int32_t height = 0;
    bool gray = false;  // gray with alpha instead of colour
    std::string path;
};

struct PaintResult {
    bool ok = false;
    std::string error;    // why not, when !ok
    int64_t painted = 0;  // pixels with an alpha above 0
};

// Builds the shading through the factory, loads it, renders it and writes it.
// A shading pattern paints its shading through its Matrix, then the device matrix.
PaintResult paint_to_png(CPDFXRefTable& xref, const PaintRequest& request);

// Parses one PDF number ("2.56", "-1", "0") to fixed point; false for anything
// else, including trailing text.
bool parse_number(const char* text, KXFIX& out);

// Parses a PDF array of six numbers, "[a b c d e f]", to a matrix.
bool parse_matrix(const char* text, _KXMATRIX& out);

}  // namespace shadepaint::cli
