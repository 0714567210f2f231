// The demo gallery. Samples live in shading space 0..100 on both axes, y up,
// painted at 256 x 256 pixels, so that one matrix serves almost all of them and
// the PDF text reads like a page description.
#include "gallery.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

namespace shadepaint::cli {

namespace {

constexpr char kSquare[] = "[2.56 0 0 -2.56 0 256]";
// 30 degrees anticlockwise about (50, 50), then kSquare.
constexpr char kRotated[] = "[2.2170 -1.28 -1.28 -2.2170 81.1487 302.8513]";

// clang-format off
constexpr GallerySample kAxial[] = {
    {"axial_two_colour", "Two colours: yellow to blue along x, DeviceRGB",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.8 0] /C1 [0 0.2 0.8] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"axial_multi_stop",
     "Four colour stops along the diagonal: a stitching function of three exponential parts",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 100] /Extend [true true]\n"
     "   /Function 10 0 R >>",
     "10 0 obj\n"
     "<< /FunctionType 3 /Domain [0 1] /Functions [11 0 R 12 0 R 13 0 R]\n"
     "   /Bounds [0.35 0.65] /Encode [0 1 0 1 0 1] >>\n"
     "endobj\n"
     "11 0 obj << /FunctionType 2 /Domain [0 1] /C0 [0.9 0.1 0.1] /C1 [1 0.85 0.1] /N 1 >> endobj\n"
     "12 0 obj << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.1] /C1 [0.1 0.7 0.3] /N 1 >> endobj\n"
     "13 0 obj << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.7 0.3] /C1 [0.1 0.2 0.8] /N 1 >>\n"
     "endobj\n",
     kSquare, 256, 256, true},

    {"axial_extend_none", "Extend [false false]: nothing is painted beyond either end of the axis",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Extend [false false]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.6 0.2] /C1 [0.6 0.1 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_extend_start", "Extend [true false]: the start colour fills the left side",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Extend [true false]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.6 0.2] /C1 [0.6 0.1 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_extend_end", "Extend [false true]: the end colour fills the right side",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Extend [false true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.6 0.2] /C1 [0.6 0.1 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_extend_both", "Extend [true true]: both end colours fill their sides",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.6 0.2] /C1 [0.6 0.1 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_background", "Background: dark slate wherever the axis is not extended",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Extend [false false]\n"
     "   /Background [0.2 0.25 0.35]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.9 0.3] /C1 [0.9 0.3 0.1] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"axial_reversed_domain",
     "Domain [1 0] with Extend [true false]: the colours run from C1 (blue) at the axis start "
     "to C0 (red), and the flag that extends is the one of the far end",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [30 50 70 50] /Domain [1 0]\n"
     "   /Extend [true false]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.9 0.1 0.1] /C1 [0.1 0.2 0.9] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_rotated", "Rotated device matrix: a horizontal axis turned 30 degrees anticlockwise",
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [20 50 80 50] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.3 0.8] /C1 [1 0.6 0.1] /N 1 >> >>",
     "", kRotated, 256, 256, false},

    {"axial_device_gray", "DeviceGray: black at the bottom to white at the top",
     "<< /ShadingType 2 /ColorSpace /DeviceGray /Coords [0 0 0 100] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"axial_device_cmyk", "DeviceCMYK: cyan to red (magenta and yellow) along x",
     "<< /ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 100 0] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0 0] /C1 [0 0.9 0.9 0] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_separation_rgb",
     "Separation into DeviceRGB through an exponential tint transform: white to gold",
     "<< /ShadingType 2 /Coords [0 0 100 0] /Extend [true true]\n"
     "   /ColorSpace [/Separation /Gold /DeviceRGB\n"
     "       << /FunctionType 2 /Domain [0 1] /C0 [1 1 1] /C1 [0.85 0.6 0.05] /N 1 >>]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"axial_separation_cmyk",
     "Separation into DeviceCMYK through a PostScript calculator tint transform: "
     "white at the bottom to coral (C 0, M 0.6, Y 0.7, K 0) at the top",
     "<< /ShadingType 2 /ColorSpace 20 0 R /Coords [0 0 0 100] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >> >>",
     "20 0 obj\n"
     "[/Separation /Coral /DeviceCMYK 21 0 R]\n"
     "endobj\n"
     "21 0 obj\n"
     "<< /FunctionType 4 /Domain [0 1] /Range [0 1 0 1 0 1 0 1] /Length 37 >>\n"
     "stream\n"
     "{ 0 exch dup 0.6 mul exch 0.7 mul 0 }\n"
     "endstream\n"
     "endobj\n",
     kSquare, 256, 256, true},

    {"axial_lab",
     "Lab, components 0..1 spanning L* 0..100 and the a*, b* Range: "
     "from L* 60, a* 0, b* -60 (blue) to L* 60, a* 40, b* 70 (orange)",
     "<< /ShadingType 2 /Coords [0 0 100 0] /Extend [true true]\n"
     "   /ColorSpace [/Lab << /WhitePoint [0.9505 1 1.089] /Range [-100 100 -100 100] >>]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.6 0.5 0.2] /C1 [0.6 0.7 0.85] /N 1 >>\n"
     ">>",
     "", kSquare, 256, 256, false},
};

// Warm at the start circle, cool at the end circle throughout, so that the
// pictures compare.
constexpr GallerySample kRadial[] = {
    {"radial_concentric", "Concentric: a point at the centre growing to a circle of radius 45",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [50 50 0 50 50 45]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_concentric_ring",
     "Concentric ring, Extend [true true]: the start colour fills the inner disc, the end colour "
     "everything outside",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [50 50 15 50 50 40] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_concentric_shrinking",
     "Concentric, start circle larger than the end circle (radius 45 down to 10), with a "
     "Background outside",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [50 50 45 50 50 10]\n"
     "   /Background [0.9 0.9 0.85]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_focal_inside",
     "Focal point inside the end circle (a spot light), Extend [true true]: the end colour "
     "fills the rest",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [38 60 0 50 50 40] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_inner_circle",
     "Start circle of radius 8 inside the end circle, off centre, Extend [false false]",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [40 55 8 50 50 40]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"radial_focal_touching",
     "Focal point on the end circle's edge, Extend [false false]",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [15 50 0 50 50 35]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"radial_cone_none", "Circles side by side (a cone), Extend [false false]",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [25 40 8 65 55 22]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_cone_start",
     "Cone, Extend [true false]: the start colour runs from the small circle to the apex",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [25 40 8 65 55 22] /Extend [true false]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"radial_cone_end",
     "Cone, Extend [false true]: the end colour runs from the large circle out of the picture",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [25 40 8 65 55 22] /Extend [false true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"radial_cone_both", "Cone, Extend [true true]",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [25 40 8 65 55 22] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_cone_reversed",
     "Cone drawn from the large circle to the small one, Extend [true true]",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [65 55 22 25 40 8] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, false},

    {"radial_equal_radii",
     "Equal radii: a strip between two circles of radius 15; Extend has no effect",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [30 35 15 70 65 15] /Extend [true true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_background",
     "Cone with a Background (dark slate) wherever nothing else is painted",
     "<< /ShadingType 3 /ColorSpace /DeviceRGB /Coords [25 40 8 65 55 22]\n"
     "   /Background [0.2 0.25 0.35]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1 0.85 0.2] /C1 [0.15 0.2 0.7] /N 1 >> >>",
     "", kSquare, 256, 256, true},

    {"radial_rotated", "Focal point inside, rotated device matrix, DeviceGray",
     "<< /ShadingType 3 /ColorSpace /DeviceGray /Coords [35 50 5 50 50 35] /Extend [false true]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [1] /C1 [0.1] /N 1 >> >>",
     "", kRotated, 256, 256, true},
};

constexpr GallerySample kFunctionBased[] = {
    {"function_calculator",
     "A PostScript calculator function of x and y over Domain [-1 1 -1 1]: red grows to the "
     "right, green upward, and blue fades with the distance from the centre",
     "<< /ShadingType 1 /ColorSpace /DeviceRGB /Domain [-1 1 -1 1] /Matrix [50 0 0 50 50 50]\n"
     "   /Function 30 0 R >>",
     "30 0 obj\n"
     "<< /FunctionType 4 /Domain [-1 1 -1 1] /Range [0 1 0 1 0 1] /Length 108 >>\n"
     "stream\n"
     "{ 2 copy dup mul exch dup mul add sqrt 1 exch sub 3 1 roll exch 1 add 0.5 mul exch 1 add "
     "0.5 mul 3 -1 roll }\n"
     "endstream\n"
     "endobj\n",
     kSquare, 256, 256, true},

    {"function_sampled",
     "A sampled function on a 3 x 3 grid, interpolated: red, orange, yellow along the bottom, "
     "magenta, white, cyan through the middle, blue, azure, green along the top. The samples "
     "are the bytes ' ', 'O' and '~', which Decode turns into 0, 0.5 and 1",
     "<< /ShadingType 1 /ColorSpace /DeviceRGB /Matrix [100 0 0 100 0 0] /Function 31 0 R >>",
     "31 0 obj\n"
     "<< /FunctionType 0 /Domain [0 1 0 1] /Range [0 1 0 1 0 1] /Size [3 3] /BitsPerSample 8\n"
     "   /Decode [-0.340426 2.372340 -0.340426 2.372340 -0.340426 2.372340] /Length 27 >>\n"
     "stream\n"
     "~  ~O ~~ ~ ~~~~ ~~  ~ O~ ~ \n"
     "endstream\n"
     "endobj\n",
     kSquare, 256, 256, true},
};

// A pattern paints its shading through the pattern's Matrix followed by the
// device matrix, as a page would.
constexpr GallerySample kPatterns[] = {
    {"pattern_axial_matrix",
     "A shading pattern whose Matrix turns the shading 30 degrees, halves it and moves it to "
     "(30, 20): the axis from (0, 0) to (100, 0) runs from there up to the right, and nothing "
     "is painted beyond its ends",
     "<< /PatternType 2 /Shading 32 0 R /Matrix [0.4330 0.25 -0.25 0.4330 30 20] >>",
     "32 0 obj\n"
     "<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 100 0] /Extend [false false]\n"
     "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.1 0.25 0.7] /C1 [1 0.8 0.3] /N 1 >>\n"
     ">>\n"
     "endobj\n",
     kSquare, 256, 256, true},
};

// clang-format on

// Mesh samples carry binary stream data. It is written here by small
// generators and stored as ASCIIHex text (wrapped at 64 digits), so that every
// sample stays PDF text; one is deflated with zlib first and names both
// filters. The texts live for the whole run, behind stable pointers.
class MeshBits {
public:
    MeshBits& put(uint32_t value, int width) {
        for (int k = width - 1; k >= 0; --k) {
            if (m_bits % 8 == 0) m_bytes.push_back(0);
            if ((value >> k) & 1)
                m_bytes.back() |= static_cast<unsigned char>(0x80 >> (m_bits % 8));
            ++m_bits;
        }
        return *this;
    }
    MeshBits& pad() {
        m_bits = (m_bits + 7) / 8 * 8;
        return *this;
    }
    const std::vector<unsigned char>& bytes() const { return m_bytes; }

private:
    std::vector<unsigned char> m_bytes;
    size_t m_bits = 0;
};

struct MeshPoint {
    double x, y;  // shading space, 0 to 100
};

// Coordinates of 16 bits over Decode [0 100 0 100].
uint32_t coord16(double v) { return static_cast<uint32_t>(std::lround(v / 100.0 * 65535.0)); }

// A free-form vertex: 8-bit flag, 16-bit x and y, then the colour fields.
void free_form_vertex(MeshBits& w, uint32_t flag, MeshPoint p, std::initializer_list<uint32_t> c,
                      int comp_bits) {
    w.put(flag, 8).put(coord16(p.x), 16).put(coord16(p.y), 16);
    for (uint32_t v : c) w.put(v, comp_bits);
    w.pad();
}

std::string hex_lines(const std::vector<unsigned char>& bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i != 0 && i % 32 == 0) out += '\n';
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 15];
    }
    return out + ">";
}

std::vector<unsigned char> deflated(const std::vector<unsigned char>& raw) {
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    std::vector<unsigned char> out(size);
    if (compress2(out.data(), &size, raw.data(), static_cast<uLong>(raw.size()), 9) != Z_OK)
        return {};
    out.resize(size);
    return out;
}

// The stream text of a mesh: entries, the filters, and the data as hex.
const char* mesh_stream(const std::string& entries, const std::vector<unsigned char>& raw,
                        bool flate = false) {
    static std::deque<std::string> texts;
    const std::string body = hex_lines(flate ? deflated(raw) : raw);
    texts.push_back("<< " + entries + "\n   /Filter " +
                    (flate ? "[/ASCIIHexDecode /FlateDecode]" : "/ASCIIHexDecode") + " /Length " +
                    std::to_string(body.size()) + " >>\nstream\n" + body + "\nendstream");
    return texts.back().c_str();
}

const std::string kFreeForm16 =
    "/ShadingType 4 /ColorSpace /DeviceRGB /BitsPerFlag 8 /BitsPerCoordinate 16";

MeshPoint on_circle(double cx, double cy, double r, double turns) {
    const double a = turns * 6.283185307179586;
    return {cx + r * std::cos(a), cy + r * std::sin(a)};
}

// A vertical strip of five triangles (flag 0, then flag 1 four times), a flag 3
// that fills a slot with nothing, and a fan of six (flag 0, then flag 2).
std::vector<unsigned char> flags_mesh() {
    MeshBits w;
    const MeshPoint strip[] = {{8, 8}, {36, 8}, {8, 36}, {36, 36}, {8, 64}, {36, 64}, {8, 92}};
    const uint32_t strip_rgb[][3] = {{230, 40, 40}, {240, 200, 30}, {60, 180, 60},  {30, 190, 200},
                                     {40, 70, 220}, {170, 60, 200}, {240, 240, 240}};
    for (int k = 0; k < 7; ++k) {
        free_form_vertex(w, k < 3 ? 0 : 1, strip[k],
                         {strip_rgb[k][0], strip_rgb[k][1], strip_rgb[k][2]}, 8);
    }
    w.put(3, 8);
    const uint32_t rim_rgb[][3] = {{230, 40, 40},  {240, 200, 30}, {60, 180, 60},
                                   {30, 190, 200}, {40, 70, 220},  {170, 60, 200}};
    free_form_vertex(w, 0, {70, 50}, {255, 255, 255}, 8);
    for (int k = 0; k <= 6; ++k) {
        const uint32_t* c = rim_rgb[k % 6];
        free_form_vertex(w, k < 2 ? 0 : 2, on_circle(70, 50, 26, k / 6.0), {c[0], c[1], c[2]}, 8);
    }
    return w.bytes();
}

// A fan of twelve whose rim alternates t = 0 and t = 1 around a centre at
// t = 0.5, one 8-bit parametric field a vertex.
std::vector<unsigned char> function_mesh() {
    MeshBits w;
    free_form_vertex(w, 0, {50, 50}, {128}, 8);
    for (int k = 0; k <= 12; ++k) {
        const double r = k % 2 == 0 ? 45 : 22;
        free_form_vertex(w, k < 2 ? 0 : 2, on_circle(50, 50, r, k / 12.0 + 0.25),
                         {k % 2 == 0 ? 255u : 0u}, 8);
    }
    return w.bytes();
}

// A hexagon fan whose centre is white and whose rim runs through the six
// primaries and secondaries, every channel at the largest raw value it has.
std::vector<unsigned char> depth_mesh(int bits) {
    MeshBits w;
    const uint32_t top = bits == 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
    const uint32_t rim[][3] = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}, {1, 0, 1}};
    free_form_vertex(w, 0, {50, 50}, {top, top, top}, bits);
    for (int k = 0; k <= 6; ++k) {
        const uint32_t* c = rim[k % 6];
        free_form_vertex(w, k < 2 ? 0 : 2, on_circle(50, 50, 45, k / 6.0),
                         {c[0] * top, c[1] * top, c[2] * top}, bits);
    }
    return w.bytes();
}

// A ring of 48 segments as one strip (flag 0, then flag 1), full hues
// outside, darker ones inside.
std::vector<unsigned char> ring_mesh() {
    MeshBits w;
    const int segments = 48;
    for (int k = 0; k <= 2 * segments + 1; ++k) {
        const int seg = k / 2;
        const bool outer = k % 2 == 1;
        const double h = 6.0 * (seg % segments) / segments;
        const double rgb[3] = {std::clamp(std::fabs(h - 3) - 1, 0.0, 1.0),
                               std::clamp(2 - std::fabs(h - 2), 0.0, 1.0),
                               std::clamp(2 - std::fabs(h - 4), 0.0, 1.0)};
        const double level = outer ? 255 : 110;
        free_form_vertex(
            w, k < 3 ? 0 : 1,
            on_circle(50, 50, outer ? 46 : 20, static_cast<double>(seg) / segments),
            {static_cast<uint32_t>(rgb[0] * level), static_cast<uint32_t>(rgb[1] * level),
             static_cast<uint32_t>(rgb[2] * level)},
            8);
    }
    return w.bytes();
}

// 15 x 15 vertices, bit upon bit without padding: a grid bent by two sine
// waves, coloured by its row and column.
std::vector<unsigned char> warped_lattice() {
    MeshBits w;
    const int n = 15;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const double u = static_cast<double>(j) / (n - 1), v = static_cast<double>(i) / (n - 1);
            const double x = 8 + 84 * u + 5 * std::sin(6.283185307179586 * v);
            const double y = 8 + 84 * v + 5 * std::sin(6.283185307179586 * u);
            w.put(coord16(x), 16).put(coord16(y), 16);
            w.put(static_cast<uint32_t>(255 * u), 8).put(static_cast<uint32_t>(255 * v), 8);
            w.put(static_cast<uint32_t>(255 * (1 - u) * (1 - v)), 8);
        }
    }
    return w.bytes();
}

std::string depth_entries(int bits) {
    return kFreeForm16 + " /BitsPerComponent " + std::to_string(bits) +
           " /Decode [0 100 0 100 0 1 0 1 0 1]";
}

// Patch meshes. Coons patches list twelve boundary points once around the
// patch (0-3 the u = 0 side, 3-6 v = 1, 6-9 u = 1, 9-11 and back to 0 v = 0)
// and four corner colours; a flag 1, 2 or 3 takes the previous patch's side
// 3-6, 6-9 or 9-0 as its own side 0-3, with the two corner colours, and lists
// eight points and two colours. Tensor patches list their 4 x 4 net as a
// spiral from the outside in. 8-bit flags, 16-bit coordinates over 0..100,
// 8-bit RGB. Control points may lie outside the picture, so the coordinates
// run over -50..150.
struct PatchColour {
    uint32_t r, g, b;
};

uint32_t patch_coord16(double v) {
    return static_cast<uint32_t>(std::lround((std::clamp(v, -50.0, 150.0) + 50) / 200 * 65535));
}
void patch_point(MeshBits& w, MeshPoint p) {
    w.put(patch_coord16(p.x), 16).put(patch_coord16(p.y), 16);
}
void patch_colour(MeshBits& w, PatchColour c) { w.put(c.r, 8).put(c.g, 8).put(c.b, 8); }

// Writes a Coons patch: flag 0 with all twelve points and four colours, or a
// continuation with points 4-11 and colours 2 and 3.
void coons_patch(MeshBits& w, uint32_t flag, const MeshPoint (&pts)[12],
                 const PatchColour (&colours)[4]) {
    w.put(flag, 8);
    for (int k = flag == 0 ? 0 : 4; k < 12; ++k) patch_point(w, pts[k]);
    for (int k = flag == 0 ? 0 : 2; k < 4; ++k) patch_colour(w, colours[k]);
    w.pad();
}

MeshPoint lerp(MeshPoint a, MeshPoint b, double t) {
    return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

// The inner control points of the edge from a to b: at the thirds, pushed
// sideways by a bulge that depends on the edge and not on its direction, so
// that neighbours walking it either way agree.
void edge_points(MeshPoint a, MeshPoint b, MeshPoint& p1, MeshPoint& p2) {
    const bool flip = a.x > b.x || (a.x == b.x && a.y > b.y);
    const MeshPoint lo = flip ? b : a, hi = flip ? a : b;
    const double nx = -(hi.y - lo.y), ny = hi.x - lo.x;
    const double bulge = 0.12 * std::sin(0.37 * (lo.x + 2 * hi.y) + 0.11 * (hi.x + lo.y));
    MeshPoint q1 = lerp(lo, hi, 1.0 / 3), q2 = lerp(lo, hi, 2.0 / 3);
    q1 = {q1.x + bulge * nx, q1.y + bulge * ny};
    q2 = {q2.x - bulge * nx, q2.y - bulge * ny};
    p1 = flip ? q2 : q1;
    p2 = flip ? q1 : q2;
}

// The twelve points of a patch with corners c[0] (point 0), c[1] (point 3),
// c[2] (point 6), c[3] (point 9) and bulging sides.
void coons_frame(const MeshPoint (&c)[4], MeshPoint (&pts)[12]) {
    for (int k = 0; k < 4; ++k) {
        pts[3 * k] = c[k];
        edge_points(c[k], c[(k + 1) % 4], pts[3 * k + 1], pts[3 * k + 2]);
    }
}

// One patch with curved sides and four corner colours.
std::vector<unsigned char> coons_single() {
    MeshBits w;
    const MeshPoint pts[12] = {{10, 12}, {-5, 45}, {25, 70},  {12, 92}, {40, 75}, {62, 110},
                               {90, 88}, {70, 60}, {105, 35}, {86, 8},  {60, 30}, {35, -5}};
    coons_patch(w, 0, pts, {{230, 50, 40}, {250, 210, 40}, {40, 90, 220}, {40, 190, 120}});
    return w.bytes();
}

// A 3 x 3 mesh walked as a snake, each patch after the first taking its
// shared side from the one before with the flag that names that side. Grid
// vertices carry the colours, so neighbours agree along their sides.
std::vector<unsigned char> coons_grid() {
    MeshBits w;
    MeshPoint v[4][4];
    PatchColour colour[4][4];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            v[i][j] = {8 + 28 * i + 3 * std::sin(1.7 * j + i),
                       8 + 28 * j + 3 * std::cos(1.3 * i + j)};
            colour[i][j] = {static_cast<uint32_t>(40 + 70 * i), static_cast<uint32_t>(230 - 60 * j),
                            static_cast<uint32_t>(60 + 60 * ((i + j) % 3))};
        }
    }
    // Cells (column, row) in snake order.
    const int order[9][2] = {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {1, 1},
                             {0, 1}, {0, 2}, {1, 2}, {2, 2}};
    int prev[4][2] = {};
    for (int n = 0; n < 9; ++n) {
        const int ci = order[n][0], cj = order[n][1];
        // The cell's corners anticlockwise from its lower left.
        const int ring[4][2] = {{ci, cj}, {ci + 1, cj}, {ci + 1, cj + 1}, {ci, cj + 1}};
        int c[4][2];
        uint32_t flag = 0;
        if (n == 0) {
            // u = 0 side on the left, v = 1 at the top.
            const int first[4][2] = {{ci, cj}, {ci, cj + 1}, {ci + 1, cj + 1}, {ci + 1, cj}};
            std::copy(&first[0][0], &first[0][0] + 8, &c[0][0]);
        } else {
            // Side f of the previous patch (corners f, f + 1) is shared.
            for (uint32_t f = 1; f <= 3 && flag == 0; ++f) {
                const int* a = prev[f];
                const int* b = prev[(f + 1) % 4];
                int ia = -1, ib = -1;
                for (int k = 0; k < 4; ++k) {
                    if (ring[k][0] == a[0] && ring[k][1] == a[1]) ia = k;
                    if (ring[k][0] == b[0] && ring[k][1] == b[1]) ib = k;
                }
                if (ia < 0 || ib < 0) continue;
                flag = f;
                const int step = (ib - ia + 4) % 4;  // around the ring from a to b
                for (int k = 0; k < 4; ++k) {
                    const int* r = ring[(ia + k * step) % 4];
                    c[k][0] = r[0];
                    c[k][1] = r[1];
                }
            }
        }
        MeshPoint corners[4];
        PatchColour cols[4];
        for (int k = 0; k < 4; ++k) {
            corners[k] = v[c[k][0]][c[k][1]];
            cols[k] = colour[c[k][0]][c[k][1]];
        }
        MeshPoint pts[12];
        coons_frame(corners, pts);
        coons_patch(w, flag, pts, cols);
        std::copy(&c[0][0], &c[0][0] + 8, &prev[0][0]);
    }
    return w.bytes();
}

// A patch whose far side is turned over: the u = 1 side runs the other way,
// so the surface passes through itself and its later rows cover the earlier.
std::vector<unsigned char> coons_fold() {
    MeshBits w;
    const MeshPoint pts[12] = {{10, 15}, {20, 40}, {20, 65}, {10, 90}, {35, 70}, {65, 30},
                               {90, 10}, {80, 40}, {80, 65}, {90, 90}, {65, 70}, {35, 30}};
    coons_patch(w, 0, pts, {{240, 60, 40}, {250, 220, 60}, {40, 80, 230}, {60, 200, 120}});
    return w.bytes();
}

// Writes a tensor patch from its net (entry 4 r + c): the spiral of 16 for
// flag 0, or the 12 after the shared side with colours 2 and 3.
void tensor_patch(MeshBits& w, uint32_t flag, const MeshPoint (&net)[16],
                  const PatchColour (&colours)[4]) {
    static constexpr int kSpiral[16] = {0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4, 5, 6, 10, 9};
    w.put(flag, 8);
    for (int n = flag == 0 ? 0 : 4; n < 16; ++n) patch_point(w, net[kSpiral[n]]);
    for (int k = flag == 0 ? 0 : 2; k < 4; ++k) patch_colour(w, colours[k]);
    w.pad();
}

// An even net over the box, u along x and v along y.
void tensor_net(MeshPoint lo, MeshPoint hi, MeshPoint (&net)[16]) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            net[4 * r + c] = {lo.x + (hi.x - lo.x) * r / 3, lo.y + (hi.y - lo.y) * c / 3};
}

// One square patch whose four inner control points are all pulled out beyond
// its top right corner. The sides stay straight.
std::vector<unsigned char> tensor_pulled() {
    MeshBits w;
    MeshPoint net[16];
    tensor_net({10, 10}, {90, 90}, net);
    net[5] = {120, 120};
    net[6] = {120, 120};
    net[9] = {120, 120};
    net[10] = {120, 120};
    tensor_patch(w, 0, net, {{230, 50, 40}, {250, 210, 40}, {40, 90, 220}, {40, 190, 120}});
    return w.bytes();
}

// The net of a patch that continues a side: row 0 is the shared side (as the
// previous patch lists it for the flag), the other rows follow it moved by
// step per row.
void continued_net(const MeshPoint (&prev)[16], uint32_t flag, MeshPoint step,
                   MeshPoint (&net)[16]) {
    static constexpr int kSide[4][4] = {{}, {3, 7, 11, 15}, {15, 14, 13, 12}, {12, 8, 4, 0}};
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            const MeshPoint p = prev[kSide[flag][c]];
            net[4 * r + c] = {p.x + step.x * r, p.y + step.y * r};
        }
    }
}

// Three continuations of one patch, with flags 1, 2 and 3: each takes the
// colours of its two shared corners but not their colour words, which stay 0,
// so its shared side is black while its far corners have their own colour.
// Yellow at the bottom, then green and blue above it, red to the right.
std::vector<unsigned char> tensor_continued() {
    MeshBits w;
    MeshPoint a[16], b[16], c[16], d[16];
    tensor_net({10, 10}, {50, 35}, a);
    tensor_patch(w, 0, a, {{240, 200, 40}, {240, 200, 40}, {240, 200, 40}, {240, 200, 40}});
    continued_net(a, 1, {0, 25.0 / 3}, b);  // above a, sharing its top side
    tensor_patch(w, 1, b, {{}, {}, {60, 200, 90}, {60, 200, 90}});
    continued_net(b, 2, {0, 25.0 / 3}, c);  // above b, sharing its top side
    tensor_patch(w, 2, c, {{}, {}, {60, 120, 230}, {60, 120, 230}});
    continued_net(c, 3, {40.0 / 3, 0}, d);  // right of c, sharing its right side
    tensor_patch(w, 3, d, {{}, {}, {230, 70, 60}, {230, 70, 60}});
    return w.bytes();
}

const std::string kPatch16 =
    "/ColorSpace /DeviceRGB /BitsPerFlag 8 /BitsPerCoordinate 16 /BitsPerComponent 8\n"
    "   /Decode [-50 150 -50 150 0 1 0 1 0 1]";

// clang-format off
const GallerySample kPatches[] = {
    {"coons_single",
     "Coons patch: one patch with curved sides and four corner colours, cut into cells whose "
     "count follows its size on the page",
     mesh_stream("/ShadingType 6 " + kPatch16, coons_single()), "", kSquare, 256, 256, true},

    {"coons_grid",
     "Coons mesh of 3 x 3 patches walked as a snake: after the first, every patch takes its "
     "shared side and corner colours from the one before (flags 2, 2, 1, 3, 2, 1, 3, 2). Each "
     "patch cuts its sides into its own number of steps; the cells along a patch's rim are "
     "painted conservatively, so no pixel falls between neighbours that cut a shared curve "
     "differently",
     mesh_stream("/ShadingType 6 " + kPatch16, coons_grid()), "", kSquare, 256,
     256, true},

    {"coons_fold",
     "Coons patch folded over itself: its far side runs the other way, and the later rows of "
     "cells are painted over the earlier ones",
     mesh_stream("/ShadingType 6 " + kPatch16, coons_fold()), "", kSquare, 256, 256, false},

    {"coons_rotated",
     "The 3 x 3 Coons mesh through the rotated device matrix",
     mesh_stream("/ShadingType 6 " + kPatch16, coons_grid()), "", kRotated, 256,
     256, false},

    {"tensor_pulled",
     "Tensor patch with straight sides whose four inner control points are all pulled out "
     "beyond its top right corner: the middle of the patch crowds there, and the surface "
     "bulges out over that corner",
     mesh_stream("/ShadingType 7 " + kPatch16, tensor_pulled()), "", kSquare, 256, 256, true},

    {"tensor_continued",
     "Tensor patches continued with flags 1, 2 and 3 (yellow, then green and blue above it, red "
     "to the right): each continuation keeps the colours of its two shared corners but paints "
     "them from colour words that were never set, so its shared side is black",
     mesh_stream("/ShadingType 7 " + kPatch16, tensor_continued()), "", kSquare, 256, 256, true},
};
// clang-format on

// clang-format off
const GallerySample kMeshes[] = {
    {"mesh_flags",
     "Free-form flags: a strip (flag 0, then flag 1 four times), a flag 3 that fills a slot with "
     "nothing, and a fan (flag 0, then flag 2) around a white centre",
     mesh_stream(kFreeForm16 + " /BitsPerComponent 8 /Decode [0 100 0 100 0 1 0 1 0 1]",
                 flags_mesh()),
     "", kSquare, 256, 256, true},

    {"mesh_function",
     "Free-form with a Function: rim vertices alternate t = 0 (blue) and t = 1 (yellow) around "
     "a centre at t = 0.5; the function is looked up at the vertices and the colours interpolated "
     "in RGB between them",
     mesh_stream(kFreeForm16 + " /BitsPerComponent 8 /Decode [0 100 0 100 0 1]\n"
                 "   /Function << /FunctionType 2 /Domain [0 1] /C0 [0.15 0.25 0.85] "
                 "/C1 [1 0.85 0.1] /N 1 >>",
                 function_mesh()),
     "", kSquare, 256, 256, false},

    {"mesh_bits_1",
     "1-bit components: each raw value is scaled to eight bits by truncation, so the white "
     "centre and the full colours come out at 128",
     mesh_stream(depth_entries(1), depth_mesh(1)), "", kSquare, 256, 256, false},
    {"mesh_bits_2", "2-bit components: full is 192",
     mesh_stream(depth_entries(2), depth_mesh(2)), "", kSquare, 256, 256, false},
    {"mesh_bits_4", "4-bit components: full is 240",
     mesh_stream(depth_entries(4), depth_mesh(4)), "", kSquare, 256, 256, false},
    {"mesh_bits_8", "8-bit components: full is 255",
     mesh_stream(depth_entries(8), depth_mesh(8)), "", kSquare, 256, 256, true},
    {"mesh_bits_16", "16-bit components: the high byte, full is 255",
     mesh_stream(depth_entries(16), depth_mesh(16)), "", kSquare, 256, 256, false},

    {"mesh_flate",
     "A ring of 96 triangles in one strip, its stream deflated (FlateDecode behind "
     "ASCIIHexDecode)",
     mesh_stream(kFreeForm16 + " /BitsPerComponent 8 /Decode [0 100 0 100 0 1 0 1 0 1]",
                 ring_mesh(), true),
     "", kSquare, 256, 256, true},

    {"lattice_warped",
     "Lattice of 15 x 15 vertices bent by two sine waves; each cell is cut from its top right "
     "to its bottom left vertex",
     mesh_stream("/ShadingType 5 /ColorSpace /DeviceRGB /VerticesPerRow 15 /BitsPerCoordinate "
                 "16 /BitsPerComponent 8\n   /Decode [0 100 0 100 0 1 0 1 0 1]",
                 warped_lattice()),
     "", kSquare, 256, 256, true},

    {"mesh_rotated",
     "The flags mesh through the rotated device matrix: turned 30 degrees anticlockwise about "
     "the centre",
     mesh_stream(kFreeForm16 + " /BitsPerComponent 8 /Decode [0 100 0 100 0 1 0 1 0 1]",
                 flags_mesh()),
     "", kRotated, 256, 256, false},
};

constexpr GallerySection kSections[] = {
    {"Axial shadings", kAxial, sizeof(kAxial) / sizeof(kAxial[0])},
    {"Radial shadings", kRadial, sizeof(kRadial) / sizeof(kRadial[0])},
    {"Function-based shadings", kFunctionBased,
     sizeof(kFunctionBased) / sizeof(kFunctionBased[0])},
    {"Shading patterns", kPatterns, sizeof(kPatterns) / sizeof(kPatterns[0])},
    {"Free-form and lattice meshes", kMeshes, sizeof(kMeshes) / sizeof(kMeshes[0])},
    {"Coons and tensor patch meshes", kPatches, sizeof(kPatches) / sizeof(kPatches[0])},
};
// clang-format on

}  // namespace

const GallerySection* gallery_sections(size_t& count) {
    count = sizeof(kSections) / sizeof(kSections[0]);
    return kSections;
}

}  // namespace shadepaint::cli
