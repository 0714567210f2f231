// Lattice Gouraud mesh (ShadingType 5).
//
// load() reads the grid row by row into a temporary store, VerticesPerRow
// vertices a row, with no flags and no padding anywhere: vertices follow each
// other bit upon bit, so only the first starts on a byte boundary. The end of
// the data is tested only between rows; a row that has begun is read to its
// end with the reader's all-ones fields, and takes part in the mesh.
//
// Each cell (i, j) of the grid becomes two triangles, (a, b, c) and (b, c, d)
// with a = (i, j), b = (i, j + 1), c = (i + 1, j), d = (i + 1, j + 1): the
// diagonal always runs from b to c, whatever the cell's shape. Store order is
// strip by strip, cell by cell, and is the painting order, so a folded grid
// shows its later rows on top. The store is exactly as long as needed.
//
// Left open by the rules and decided here: VerticesPerRow below 2 loads
// nothing; a failed allocation of the triangle store frees the grid and the
// data like every other failure; a row that moves no bit while data is left
// would repeat forever and ends load as running out of memory would; and a
// grid beyond kMeshMaxTriangles / 2 vertices is treated as memory running
// out.
#include "mesh/shading_lattice_form.h"

#include <cstddef>
#include <cstring>

#include "engine/kxalloc.h"
#include "mesh/mesh_load_p.h"
#include "mesh/mesh_reader.h"
#include "mesh/mesh_render_p.h"
#include "object/obj_access_p.h"
#include "object/pdf_dictionary.h"
#include "shading/bitmap.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {
constexpr int32_t kRowStep = 4;  // the grid store grows by four rows at a time
// Two triangles a cell and fewer cells than vertices keep the triangle store
// within its limit.
constexpr int64_t kMaxGridVertices = detail::kMeshMaxTriangles / 2;

// A grid store of rows x per_row vertices, with room for more rows.
struct grid_store {
    PDF_MESH_VERTEX* v = nullptr;
    int32_t rows = 0;
    int32_t room = 0;

    ~grid_store() { KXFree(v); }

    // Four more cleared rows; false when the grid would pass its limit or the
    // allocation fails.
    bool grow(int32_t per_row) {
        const int64_t old_count = int64_t{room} * per_row;
        const int64_t count = int64_t{room + kRowStep} * per_row;
        if (count > kMaxGridVertices) return false;
        auto* bigger = static_cast<PDF_MESH_VERTEX*>(
            KXRealloc(v, static_cast<size_t>(count) * sizeof(PDF_MESH_VERTEX)));
        if (!bigger) return false;
        std::memset(static_cast<void*>(bigger + old_count), 0,
                    static_cast<size_t>(count - old_count) * sizeof(PDF_MESH_VERTEX));
        v = bigger;
        room += kRowStep;
        return true;
    }
};

// Reads rows until the data ends between two rows; false when the grid
// can't grow (or the rows would never end).
bool read_grid(grid_store& grid, int32_t per_row, CPDFShadingDataReader& reader,
               PDF_BIT_CURSOR& cur, const CPDFCSBase& cs) {
    for (;;) {
        if (grid.rows >= grid.room && !grid.grow(per_row)) return false;
        const unsigned char* const at = cur.m_cur;
        const uint32_t at_bit = cur.m_bit;
        PDF_MESH_VERTEX* row = grid.v + static_cast<ptrdiff_t>(grid.rows) * per_row;
        for (int32_t j = 0; j < per_row; ++j) {
            reader.read_pt(row[j].m_pt);
            reader.read_clr(row[j].m_clr);
            cs.get_rgb(row[j].m_clr, row[j].m_rgba);
        }
        ++grid.rows;
        if (cur.m_left == 0) return true;
        // Only the cursor carries from row to row: a row that moved nothing
        // is followed by the same row forever.
        if (cur.m_cur == at && cur.m_bit == at_bit) return false;
    }
}
}  // namespace

CPDFShadingLatticeForm::CPDFShadingLatticeForm(CPDFXRefTable* xref) : CPDFShading(5, xref) {}

CPDFShadingLatticeForm::~CPDFShadingLatticeForm() {
    detail::free_functions(m_funcs, m_func_count);
    KXFree(m_triangles);
    m_triangles = nullptr;
    m_triangle_count = 0;
}

void CPDFShadingLatticeForm::load() {
    if (m_loaded || m_obj.m_tag != kObjStream) return;
    m_loaded = 1;
    CPDFShading::load();
    const CPDFDictionary* dict = m_obj.dict();
    const bool funcs_ok = detail::read_mesh_functions(m_xref, dict, m_funcs, m_func_count);
    m_bits_coord = detail::obj_to_int(m_xref, dict->find("BitsPerCoordinate"));
    m_bits_comp = detail::obj_to_int(m_xref, dict->find(CPDFDictionary::sm_tag_bpc));
    m_vertices_per_row = detail::obj_to_int(m_xref, dict->find("VerticesPerRow"));
    if (!funcs_ok || !detail::mesh_bits_ok(m_bits_coord) || !detail::mesh_bits_ok(m_bits_comp) ||
        !detail::mesh_cs_ok(m_cs) || m_vertices_per_row < 2)
        return;
    if (!detail::read_mesh_decode(m_xref, dict, m_cs->m_comp_count, m_decode_x0, m_decode_x1,
                                  m_decode_y0, m_decode_y1, m_decode_min, m_decode_max))
        return;

    int32_t size = 0;
    unsigned char* data = detail::load_mesh_data(m_xref, m_obj, size);
    if (!data) return;
    const int32_t per_row = m_vertices_per_row;
    grid_store grid;
    PDF_BIT_CURSOR cur{data, static_cast<uint32_t>(size), 0};
    CPDFShadingDataReader reader;
    reader.setup(&cur, m_bits_coord, m_bits_comp, m_decode_x0, m_decode_x1, m_decode_y0,
                 m_decode_y1, m_funcs, m_func_count, m_cs, m_decode_min, m_decode_max);
    // An empty body makes no rows, and fewer than two rows make no cells.
    if (size > 0 && read_grid(grid, per_row, reader, cur, *m_cs) && grid.rows >= 2) {
        const int32_t strips = grid.rows - 1;
        const int32_t triangles = 2 * (per_row - 1) * strips;  // below kMeshMaxTriangles
        m_triangles = static_cast<PDF_MESH_TRIANGLE*>(
            KXAlloc(static_cast<size_t>(triangles) * sizeof(PDF_MESH_TRIANGLE)));
        if (m_triangles) {
            PDF_MESH_TRIANGLE* t = m_triangles;
            for (int32_t i = 0; i < strips; ++i) {
                const PDF_MESH_VERTEX* upper = grid.v + static_cast<ptrdiff_t>(i) * per_row;
                const PDF_MESH_VERTEX* lower = upper + per_row;
                for (int32_t j = 0; j + 1 < per_row; ++j, t += 2) {
                    t[0].m_v[0] = upper[j];
                    t[0].m_v[1] = upper[j + 1];
                    t[0].m_v[2] = lower[j];
                    t[1].m_v[0] = upper[j + 1];
                    t[1].m_v[1] = lower[j];
                    t[1].m_v[2] = lower[j + 1];
                }
            }
            m_triangle_count = triangles;
        }
    }
    KXFree(data);
}

int32_t CPDFShadingLatticeForm::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                              const CKXBmp8& mask, CKXBmp32& dst) const {
    if (m_triangle_count == 0) return 0;
    detail::paint_triangles<detail::paint_rgb>(m_triangles, m_triangle_count, matrix, origin, dst);
    dst.apply_mask(mask, 0, 0);
    return 1;
}

int32_t CPDFShadingLatticeForm::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                               CKXBmp8& mask, CKXBmpGray& dst) const {
    if (m_triangle_count == 0) return 0;
    detail::paint_triangles<detail::paint_gray>(m_triangles, m_triangle_count, matrix, origin, dst);
    mask.apply_mask(mask, 0, 0);
    return 1;
}

}  // namespace shadepaint
