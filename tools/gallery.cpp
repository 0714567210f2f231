// The demo gallery. Samples live in shading space 0..100 on both axes, y up,
// painted at 256 x 256 pixels, so that one matrix serves almost all of them and
// the PDF text reads like a page description.
#include "gallery.h"

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

constexpr GallerySection kSections[] = {
    {"Axial shadings", kAxial, sizeof(kAxial) / sizeof(kAxial[0])},
    {"Radial shadings", kRadial, sizeof(kRadial) / sizeof(kRadial[0])},
    {"Function-based shadings", kFunctionBased,
     sizeof(kFunctionBased) / sizeof(kFunctionBased[0])},
    {"Shading patterns", kPatterns, sizeof(kPatterns) / sizeof(kPatterns[0])},
};
// clang-format on

}  // namespace

const GallerySection* gallery_sections(size_t& count) {
    count = sizeof(kSections) / sizeof(kSections[0]);
    return kSections;
}

}  // namespace shadepaint::cli
