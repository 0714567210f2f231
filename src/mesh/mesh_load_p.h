// What the mesh loaders (ShadingTypes 4 to 7) share: their limits, the
// checks that keep hostile dictionaries away from the bit reader, the
// "Function" and "Decode" keys, and bringing the stream body into memory.
#pragma once

#include <cstdint>

#include "numeric/kxfix.h"

namespace shadepaint {
class CPDFCSBase;
class CPDFDictionary;
class CPDFFunction;
class CPDFObj;
class CPDFXRefTable;
}  // namespace shadepaint

namespace shadepaint::detail {

// The most of a decoded body that a mesh loader takes (what lies beyond is
// silently left unread).
constexpr int32_t kMeshDataLimit = 0x800000;
// Field widths that the bit reader is defined for.
constexpr int32_t kMeshMaxFieldBits = 32;
// Components of a PDF_COLOR: colour spaces and function tables that would
// fill more are refused.
constexpr int32_t kMeshMaxComps = 16;
// Colour pairs of Decode that are kept.
constexpr int32_t kMeshDecodePairs = 8;
// Largest triangle store of the free-form and lattice meshes (about 264 MiB).
// A stream that would need more is treated as memory running out, so that a
// few megabytes of tiny records cannot claim gigabytes.
constexpr int32_t kMeshMaxTriangles = 1 << 20;

inline bool mesh_bits_ok(int32_t bits) { return bits >= 0 && bits <= kMeshMaxFieldBits; }

// A colour space the reader can fill: present, with 1 to 16 components.
bool mesh_cs_ok(const CPDFCSBase* cs);

// Reads "Function" of a mesh into an owned table: absent, null or naming
// nothing gives no table and count 0, which is usable. Otherwise the table is
// made as for the other shadings, and the result tells whether it can be
// used: false for an empty array or more than kMeshMaxComps functions, a
// table that could not be allocated, or any entry that could not be built
// (the reader would call through it). The table is kept either way, for the
// destructor.
bool read_mesh_functions(CPDFXRefTable* xref, const CPDFDictionary* dict, CPDFFunction**& funcs,
                         int32_t& count);

// Reads "Decode": x0, x1, y0, y1 from elements 0 to 3, and for up to
// min(comps, kMeshDecodePairs) colour pairs the bounds from elements 4, 6 ...
// and 5, 7 ... (pairs the array lacks are left as they were). False, with
// nothing written, when the key is absent or holds fewer than four elements.
bool read_mesh_decode(CPDFXRefTable* xref, const CPDFDictionary* dict, int32_t comps, KXFIX& x0,
                      KXFIX& x1, KXFIX& y0, KXFIX& y1, KXFIX* decode_min, KXFIX* decode_max);

// The body of a stream value through the table's make_stream, loaded whole
// up to kMeshDataLimit with the record's length as hint. The caller frees the
// block with KXFree. Null (size 0) when obj is no stream, there is no table,
// the stream can't be opened or memory runs out.
unsigned char* load_mesh_data(CPDFXRefTable* xref, const CPDFObj& obj, int32_t& size);

}  // namespace shadepaint::detail
