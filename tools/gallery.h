// The built-in gallery of the demo command: each sample is a shading written as
// PDF text, with the indirect objects it refers to, the device matrix it is
// painted with and the picture's size. A new kind of shading is a new section;
// a new case is one more table entry.
#pragma once

#include <cstddef>
#include <cstdint>

namespace shadepaint::cli {

struct GallerySample {
    const char* name;     // file stem of its pictures, unique across the gallery
    const char* title;    // one line for people
    const char* shading;  // the shading dictionary (or stream, or shading pattern) as PDF text
    const char* objects;  // "N 0 obj ... endobj" texts it refers to, or ""
    const char* matrix;   // shading space to device, "[a b c d e f]"
    int32_t width;
    int32_t height;
    bool gray;  // also painted into a gray bitmap
};

struct GallerySection {
    const char* title;
    const GallerySample* samples;
    size_t count;
};

// The sections in display order.
const GallerySection* gallery_sections(size_t& count);

}  // namespace shadepaint::cli
