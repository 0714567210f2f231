// Function-based shading: load, the colour of a domain point, and the pixel
// loop.
//
// Rendering maps device space straight to domain space: the inverse of the
// device matrix followed by the inverse of Matrix, each inverted on its own
// and then multiplied, so that a singular one leaves marker values rather than
// an error. Every covered pixel's corner (no half-pixel offset) goes through
// that matrix by itself; nothing is accumulated along a row, so a banded
// render is byte for byte the unbanded one. Pixels without coverage cost
// neither transform nor evaluation and stay as they were. A covered pixel
// outside the domain is written as all zeros.
//
// The colour store overwrites the pixel and scales its alpha by the pixel's
// coverage. The gray store scales alpha by the coverage of the row's first
// pixel, whatever the coverage of the pixel itself (which only decides
// whether the pixel is painted): a mask row 0, 255, 255 gives two gray pixels
// of alpha 0. That is required behaviour of this shading's gray form.
//
// Cases the document can leave without meaning paint nothing and leave the
// destination untouched: no colour space, no function table, an empty one, or
// a missing function among the places that reach a colour component. A
// shading given as a stream reads the stream's dictionary.
#include "shading/shading_func.h"

#include <cstddef>
#include <cstdint>

#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "shading/bitmap.h"
#include "shading/color_space.h"
#include "shading/function.h"
#include "shading/render_frame_p.h"
#include "shading/shading_p.h"

namespace shadepaint {

namespace {

// Domain bounds that no point lies between: x0 above x1 and y0 above y1.
constexpr KXFIX kEmptyDomain[4] = {KXFIX{kKxMaxRaw}, KXFIX{INT64_MIN}, KXFIX{kKxMaxRaw},
                                   KXFIX{INT64_MIN}};
constexpr int32_t kDomainItems = 4;

// read_obj_matrix for a shading whose table may be null: a direct array still
// reads, a reference resolves to nothing.
void read_matrix(CPDFXRefTable* xref, _KXMATRIX& matrix, const CPDFObj* obj) {
    CPDFXRefTable none;
    (xref ? xref : &none)->read_obj_matrix(matrix, obj);
}

// Whether every evaluation has a colour space and a function at each place
// that a colour component can come from.
bool can_paint(const CPDFShadingFunc& s) {
    if (!s.m_cs || !s.m_funcs || s.m_func_count < 1) return false;
    const int32_t places =
        s.m_func_count < detail::kFuncPlaces ? s.m_func_count : detail::kFuncPlaces;
    for (int32_t k = 0; k < places; ++k) {
        if (!s.m_funcs[k]) return false;
    }
    return true;
}

struct func_store_bgra {
    static constexpr ptrdiff_t kBytes = 4;
    static void put(uint8_t* p, _KXRGBA c, uint32_t coverage, uint32_t) {
        detail::store_bgra::put(p, c, coverage);
    }
};

struct func_store_gray {
    static constexpr ptrdiff_t kBytes = 2;
    // Alpha from the row's first coverage byte, not the pixel's own.
    static void put(uint8_t* p, _KXRGBA c, uint32_t, uint32_t row_first_coverage) {
        detail::store_gray::put(p, c, row_first_coverage);
    }
};

// The pixel loop of one band; the caller's band runs it as well as the
// workers.
template <class Store>
void paint_func_band(const PDF_FUNC_BAND& band) {
    const CPDFShadingFunc& s = *band.m_shading;
    if (!can_paint(s) || band.m_width < 1) return;
    const uint8_t* const mask = band.m_mask_row;
    uint8_t* const dst = band.m_dst_row;
    const ptrdiff_t mask_stride = band.m_mask_stride;
    const ptrdiff_t dst_stride = band.m_dst_stride;
    const _KXMATRIX inverse = band.m_inverse;
    const int32_t width = band.m_width;
    const KXFIX start_x = KXFIX::from_int(band.m_origin.x);
    const KXFIX one = KXFIX::from_raw(kKxOne);
    for (int32_t row = band.m_row_start; row < band.m_row_end; ++row) {
        // Rows are addressed from the band's start, never stepped past its end.
        const ptrdiff_t j = row - band.m_row_start;
        const uint8_t* const m = mask + j * mask_stride;
        uint8_t* p = dst + j * dst_stride;
        // The device row is summed in 32 bits, as the frame of the other
        // per-pixel shadings does.
        const KXFIX device_y = KXFIX::from_int(static_cast<int32_t>(
            static_cast<uint32_t>(band.m_origin.y) + static_cast<uint32_t>(row)));
        const uint32_t row_first = m[0];
        KXFIX device_x = start_x;
        for (int32_t i = 0; i < width; ++i, p += Store::kBytes, device_x += one) {
            const uint32_t coverage = m[i];
            if (coverage == 0) continue;
            KXFIX x = device_x;
            KXFIX y = device_y;
            inverse.transform_point(x, y);
            _KXRGBA c;
            s.get_rgba(x, y, c);
            Store::put(p, c, coverage, row_first);
        }
    }
}

int32_t render_func(const CPDFShadingFunc& s, const _KXMATRIX& matrix, const _KXPOINT& origin,
                    const CKXBmp8& mask, CKXBmp& dst, void (*worker)(void*)) {
    if (!detail::same_size(mask, dst)) return 0;
    // Neither inversion is checked: a singular matrix goes on with whatever
    // do_invert leaves behind.
    _KXMATRIX inverse = matrix;
    inverse.do_invert();
    _KXMATRIX to_domain = s.m_matrix;
    to_domain.do_invert();
    inverse.do_multiply(to_domain);
    // Bitmaps without storage have nothing to paint or read.
    if (!mask.m_data || !dst.m_data || !can_paint(s)) return 1;

    const auto make = [&](int32_t first_row, int32_t rows) {
        PDF_FUNC_BAND band;
        band.m_shading = &s;
        // Offsets in pointer width: a band never starts outside its bitmap,
        // whatever the product of rows and stride.
        band.m_mask_row = mask.m_data + static_cast<ptrdiff_t>(first_row) * mask.m_stride;
        band.m_mask_stride = mask.m_stride;
        band.m_dst_row = dst.m_data + static_cast<ptrdiff_t>(first_row) * dst.m_stride;
        band.m_dst_stride = dst.m_stride;
        band.m_inverse = inverse;
        band.m_width = mask.m_width;
        band.m_row_start = first_row;
        band.m_row_end = first_row + rows;
        band.m_origin = origin;
        return band;
    };
    detail::run_bands<PDF_FUNC_BAND>(mask.m_width, mask.m_height, worker, make);
    return 1;
}

}  // namespace

CPDFShadingFunc::CPDFShadingFunc(CPDFXRefTable* xref) : CPDFShading(1, xref) {}

CPDFShadingFunc::~CPDFShadingFunc() { detail::free_functions(m_funcs, m_func_count); }

void CPDFShadingFunc::load() {
    if (m_loaded) return;
    m_loaded = 1;
    CPDFShading::load();
    const CPDFDictionary* dict = m_obj.dict();
    if (!dict) return;

    if (const CPDFObj* domain = dict->find("Domain")) {
        // A direct array is read where it stands; only a reference is
        // resolved into a local copy.
        ScopedObj l;
        const CPDFArray* a = detail::local_array(*domain);
        if (domain->m_tag == kObjRef) {
            detail::deref(m_xref, domain, l.obj);
            a = detail::local_array(l.obj);
        }
        if (a && a->m_count >= kDomainItems) {
            for (int32_t i = 0; i < kDomainItems; ++i)
                m_domain[i] = detail::obj_to_fix(m_xref, detail::array_at(a, i));
        } else {
            for (int32_t i = 0; i < kDomainItems; ++i) m_domain[i] = kEmptyDomain[i];
        }
    }
    if (const CPDFObj* m = dict->find(CPDFDictionary::sm_tag_mat)) read_matrix(m_xref, m_matrix, m);
    // A missing key still makes a table of one entry, parsed from nothing.
    detail::read_functions(m_xref, dict->find("Function"), m_funcs, m_func_count);
}

void CPDFShadingFunc::get_rgba(const KXFIX& x, const KXFIX& y, _KXRGBA& rgba) const {
    if (x < m_domain[0] || x > m_domain[1] || y < m_domain[2] || y > m_domain[3] || !m_cs) {
        rgba = {0, 0, 0, 0};
        return;
    }
    KXFIX in[CPDFFunction::kMaxInputs] = {x, y};
    // Cleared for each point: a function that delivers fewer outputs than the
    // space has components leaves zeros, never an earlier pixel's values, so
    // that bands can't tell where they start.
    KXFIX out[detail::kFuncOutputSlots] = {};
    detail::eval_functions(m_funcs, m_func_count, in, out);
    const int32_t comps =
        m_cs->m_comp_count < detail::kColorComps ? m_cs->m_comp_count : detail::kColorComps;
    PDF_COLOR color = {};
    for (int32_t j = 0; j < comps; ++j) color.m_comps[j] = out[j].to_byte();
    m_cs->get_rgb(color, rgba);
    rgba.a = 255;
}

int32_t CPDFShadingFunc::render_to_bmp(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                       const CKXBmp8& mask, CKXBmp32& dst) const {
    return render_func(*this, matrix, origin, mask, dst, &CallbackRender);
}

int32_t CPDFShadingFunc::render_to_bmpg(const _KXMATRIX& matrix, const _KXPOINT& origin,
                                        CKXBmp8& mask, CKXBmpGray& dst) const {
    return render_func(*this, matrix, origin, mask, dst, &CallbackRenderG);
}

void CPDFShadingFunc::CallbackRender(void* arg) {
    paint_func_band<func_store_bgra>(*static_cast<const PDF_FUNC_BAND*>(arg));
}

void CPDFShadingFunc::CallbackRenderG(void* arg) {
    paint_func_band<func_store_gray>(*static_cast<const PDF_FUNC_BAND*>(arg));
}

}  // namespace shadepaint
