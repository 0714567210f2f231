// shadepaint render FILE OUT.png: paints one shading of a file of indirect
// objects. Without --matrix the picture is framed from the shading's own
// geometry (BBox, else Coords, Domain or Decode, by type), y up, with a margin,
// so that a shading cut from a real document shows without knowing its page.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "commands.h"
#include "object/obj_access_p.h"
#include "object_file.h"
#include "paint.h"

namespace shadepaint::cli {

namespace {

// Larger inputs are not shading extracts; reading them would only cost memory.
constexpr std::streamoff kMaxFileBytes = std::streamoff{256} << 20;
constexpr int32_t kDefaultSide = 512;
// Part of each side left free around the framed region.
constexpr double kMargin = 0.1;

struct Options {
    const char* in = nullptr;
    const char* out = nullptr;
    int32_t width = kDefaultSide;
    int32_t height = kDefaultSide;
    bool have_matrix = false;
    _KXMATRIX matrix = _KXMATRIX::identity();
    bool gray = false;
    int64_t object = -1;  // -1: the file's first object
};

// "WxH" with both sides in range.
bool parse_size(const char* text, int32_t& w, int32_t& h) {
    int64_t v[2] = {0, 0};
    int k = 0;
    const char* p = text;
    for (; k < 2; ++k) {
        if (*p < '0' || *p > '9') return false;
        while (*p >= '0' && *p <= '9') {
            v[k] = v[k] * 10 + (*p++ - '0');
            if (v[k] > kMaxSide) return false;
        }
        if (k == 0 && *p++ != 'x') return false;
    }
    if (*p || v[0] < 1 || v[1] < 1 || v[0] * v[1] > kMaxPixels) return false;
    w = static_cast<int32_t>(v[0]);
    h = static_cast<int32_t>(v[1]);
    return true;
}

bool parse_object_number(const char* text, int64_t& num) {
    num = 0;
    if (!*text) return false;
    for (const char* p = text; *p; ++p) {
        if (*p < '0' || *p > '9') return false;
        num = num * 10 + (*p - '0');
        if (num > INT32_MAX) return false;
    }
    return true;
}

// 0 when parsed, else the exit code.
int parse_options(int argc, char** argv, Options& o) {
    std::vector<const char*> files;
    for (int i = 0; i < argc; ++i) {
        const char* a = argv[i];
        bool has_next = i + 1 < argc;
        if (std::strcmp(a, "--gray") == 0) {
            o.gray = true;
        } else if (std::strcmp(a, "--size") == 0) {
            if (!has_next || !parse_size(argv[++i], o.width, o.height)) {
                std::fprintf(stderr, "shadepaint: --size wants WxH, each side 1 to %d\n", kMaxSide);
                return 2;
            }
        } else if (std::strcmp(a, "--object") == 0) {
            if (!has_next || !parse_object_number(argv[++i], o.object)) {
                std::fprintf(stderr, "shadepaint: --object wants an object number\n");
                return 2;
            }
        } else if (std::strcmp(a, "--matrix") == 0) {
            KXFIX v[6];
            for (KXFIX& x : v) {
                if (i + 1 >= argc || !parse_number(argv[++i], x)) {
                    std::fprintf(stderr, "shadepaint: --matrix wants six numbers\n");
                    return 2;
                }
            }
            o.matrix = {v[0], v[1], v[2], v[3], v[4], v[5]};
            o.have_matrix = true;
        } else if (a[0] == '-' && a[1] == '-') {
            std::fprintf(stderr, "shadepaint: unknown option %s\n", a);
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) {
        std::fprintf(stderr, "usage: shadepaint render FILE OUT.png [options]; see --help\n");
        return 2;
    }
    o.in = files[0];
    o.out = files[1];
    return 0;
}

bool read_file(const char* path, std::string& text, std::string& error) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) {
        error = std::string("can't open ") + path;
        return false;
    }
    std::streamoff size = in.tellg();
    if (size < 0 || size > kMaxFileBytes) {
        error = std::string(path) + " is not a readable file of at most 256 MiB";
        return false;
    }
    text.resize(static_cast<size_t>(size));
    in.seekg(0);
    if (size > 0 && !in.read(&text[0], size)) {
        error = std::string("can't read ") + path;
        return false;
    }
    return true;
}

double to_double(KXFIX v) { return static_cast<double>(v.m_raw) / static_cast<double>(kKxOne); }

KXFIX from_double(double v) {
    // Far inside the fixed-point range, and far beyond any useful matrix.
    constexpr double kLimit = 1e9;
    v = std::fmax(-kLimit, std::fmin(kLimit, v));
    return KXFIX::from_raw(std::llround(v * static_cast<double>(kKxOne)));
}

// The first n numbers of the array under key, or false.
bool read_numbers(CPDFXRefTable& xref, const CPDFObj& dict, const char* key, int32_t n,
                  double* out) {
    ScopedObj l;
    detail::deref(&xref, detail::dict_find(dict, key), l.obj);
    const CPDFArray* a = detail::local_array(l.obj);
    if (!a || a->m_count < n) return false;
    for (int32_t i = 0; i < n; ++i)
        out[i] = to_double(detail::obj_to_fix(&xref, detail::array_at(a, i)));
    return true;
}

// The part of shading space worth looking at: x0, y0, x1, y1.
void shading_region(CPDFXRefTable& xref, const CPDFObj& sh, _KXRECTF& r) {
    double v[6];
    double x0 = 0, y0 = 0, x1 = 1, y1 = 1;
    const int32_t type = detail::obj_to_int(&xref, detail::dict_find(sh, "ShadingType"));
    if (read_numbers(xref, sh, "BBox", 4, v)) {
        x0 = v[0], y0 = v[1], x1 = v[2], y1 = v[3];
    } else if (type == 2 && read_numbers(xref, sh, "Coords", 4, v)) {
        x0 = v[0], y0 = v[1], x1 = v[2], y1 = v[3];
    } else if (type == 3 && read_numbers(xref, sh, "Coords", 6, v)) {
        x0 = std::fmin(v[0] - std::fabs(v[2]), v[3] - std::fabs(v[5]));
        x1 = std::fmax(v[0] + std::fabs(v[2]), v[3] + std::fabs(v[5]));
        y0 = std::fmin(v[1] - std::fabs(v[2]), v[4] - std::fabs(v[5]));
        y1 = std::fmax(v[1] + std::fabs(v[2]), v[4] + std::fabs(v[5]));
    } else if (type == 1) {
        if (read_numbers(xref, sh, "Domain", 4, v)) x0 = v[0], x1 = v[1], y0 = v[2], y1 = v[3];
        _KXMATRIX m = _KXMATRIX::identity();
        if (const CPDFObj* e = detail::dict_find(sh, "Matrix")) xref.read_obj_matrix(m, e);
        _KXRECTF d;
        d.left = from_double(x0), d.top = from_double(y0);
        d.right = from_double(x1), d.bottom = from_double(y1);
        m.get_bound(d);
        x0 = to_double(d.left), y0 = to_double(d.top), x1 = to_double(d.right),
        y1 = to_double(d.bottom);
    } else if (type >= 4 && type <= 7 && read_numbers(xref, sh, "Decode", 4, v)) {
        x0 = v[0], x1 = v[1], y0 = v[2], y1 = v[3];
    }
    r.left = from_double(std::fmin(x0, x1));
    r.right = from_double(std::fmax(x0, x1));
    r.top = from_double(std::fmin(y0, y1));
    r.bottom = from_double(std::fmax(y0, y1));
}

// Maps region (sorted, y up) into the middle of a w x h picture (y down).
_KXMATRIX frame_matrix(const _KXRECTF& region, int32_t w, int32_t h) {
    double x0 = to_double(region.left), x1 = to_double(region.right);
    double y0 = to_double(region.top), y1 = to_double(region.bottom);
    double rw = x1 - x0, rh = y1 - y0;
    // An axis along x or y has no extent across it: frame a square around it.
    const double extent = std::fmax(std::fmax(rw, rh), 1e-6);
    rw = std::fmax(rw, extent * 0.5);
    rh = std::fmax(rh, extent * 0.5);
    const double s = std::fmin(w * (1 - 2 * kMargin) / rw, h * (1 - 2 * kMargin) / rh);
    const double cx = (x0 + x1) / 2, cy = (y0 + y1) / 2;
    return {from_double(s),
            KXFIX{0},
            KXFIX{0},
            from_double(-s),
            from_double(w / 2.0 - s * cx),
            from_double(h / 2.0 + s * cy)};
}

}  // namespace

int run_render(int argc, char** argv) {
    Options o;
    if (int code = parse_options(argc, argv, o)) return code;

    std::string text, error;
    std::vector<ObjectText> objects;
    if (!read_file(o.in, text, error) || !split_objects(text.data(), text.size(), objects, error)) {
        std::fprintf(stderr, "shadepaint: %s\n", error.c_str());
        return 1;
    }
    if (objects.empty()) {
        std::fprintf(stderr, "shadepaint: %s: no \"N 0 obj ... endobj\" objects found\n", o.in);
        return 1;
    }
    CPDFXRefTable xref;
    for (const ObjectText& obj : objects) {
        if (!xref.set_object(obj.num, obj.body.data(), obj.body.size())) {
            std::fprintf(stderr, "shadepaint: %s: object %d (byte %zu): syntax error, left out\n",
                         o.in, obj.num, obj.offset);
        }
    }
    const int64_t num = o.object >= 0 ? o.object : objects.front().num;
    ScopedObj entity;
    if (!xref.get_entity(entity.obj, PDF_REF{static_cast<uint32_t>(num), 0})) {
        std::fprintf(stderr, "shadepaint: %s: object %lld is missing or unreadable\n", o.in,
                     static_cast<long long>(num));
        return 1;
    }

    // A shading pattern: paint its shading under its matrix.
    ScopedObj shading;
    _KXMATRIX pattern = _KXMATRIX::identity();
    const int32_t pattern_type =
        detail::obj_to_int(&xref, detail::dict_find(entity.obj, "PatternType"));
    if (pattern_type == 2) {
        detail::deref(&xref, detail::dict_find(entity.obj, "Shading"), shading.obj);
        if (const CPDFObj* m = detail::dict_find(entity.obj, "Matrix"))
            xref.read_obj_matrix(pattern, m);
    } else if (pattern_type != 0) {
        std::fprintf(stderr, "shadepaint: object %lld is a tiling pattern, not a shading\n",
                     static_cast<long long>(num));
        return 1;
    } else {
        shading.obj.copy_from(&entity.obj);
    }

    PaintRequest rq;
    rq.shading = &shading.obj;
    rq.width = o.width;
    rq.height = o.height;
    rq.gray = o.gray;
    rq.path = o.out;
    if (o.have_matrix) {
        rq.matrix = pattern;
        rq.matrix.do_multiply(o.matrix);
    } else {
        _KXRECTF region;
        shading_region(xref, shading.obj, region);
        pattern.get_bound(region);
        rq.matrix = pattern;
        rq.matrix.do_multiply(frame_matrix(region, o.width, o.height));
    }
    PaintResult r = paint_to_png(xref, rq);
    if (!r.ok) {
        std::fprintf(stderr, "shadepaint: object %lld: %s\n", static_cast<long long>(num),
                     r.error.c_str());
        return 1;
    }
    std::printf("wrote %s (%dx%d, object %lld, %lld pixels painted)\n", o.out, o.width, o.height,
                static_cast<long long>(num), static_cast<long long>(r.painted));
    if (r.painted == 0) {
        std::fprintf(stderr,
                     "shadepaint: warning: nothing was painted; the shading may lie outside the "
                     "picture (try --matrix) or use a feature that is not supported yet\n");
    }
    return 0;
}

}  // namespace shadepaint::cli
