// The colour-space factory. A ColorSpace value is a family name, an array
// whose first element names the family, or a reference to either. Device
// families (and their inline-image abbreviations) need nothing more; CalGray
// and CalRGB are painted as their device counterparts and ICCBased as its
// Alternate or, failing that, as the device space of its /N; Indexed,
// Separation, DeviceN and Lab read the rest of their array in their own
// classes. Pattern and every unknown family give null.
//
// Spaces nest (Indexed over a base, Separation over an alternate, ICCBased
// over an Alternate) and references can loop, so every step into a sub-space
// or through a reference costs a level and the walk stops at kCsMaxDepth.
// Each step frees its local copies on every path.
#include <cstring>
#include <new>

#include "engine/cs_device_cmyk.h"
#include "engine/cs_device_gray.h"
#include "engine/cs_family.h"
#include "engine/cs_indexed.h"
#include "engine/cs_lab.h"
#include "engine/cs_parse_p.h"
#include "engine/cs_separation.h"
#include "engine/xref_table.h"
#include "object/obj_access_p.h"
#include "shading/color_space.h"

namespace shadepaint {

namespace {
enum class Family {
    kUnknown,
    kGray,
    kRGB,
    kCMYK,
    kCalGray,
    kCalRGB,
    kICC,
    kIndexed,
    kSeparation,
    kDeviceN,
    kLab
};

struct FamilyName {
    const char* name;
    Family family;
};

// clang-format off
constexpr FamilyName kFamilyNames[] = {
    {"DeviceGray", Family::kGray},    {"G", Family::kGray},
    {"DeviceRGB", Family::kRGB},      {"RGB", Family::kRGB},
    {"DeviceCMYK", Family::kCMYK},    {"CMYK", Family::kCMYK},
    {"CalGray", Family::kCalGray},    {"CalRGB", Family::kCalRGB},
    {"ICCBased", Family::kICC},
    {"Indexed", Family::kIndexed},    {"I", Family::kIndexed},
    {"Separation", Family::kSeparation},
    {"DeviceN", Family::kDeviceN},
    {"Lab", Family::kLab},
};
// clang-format on

Family family_of(const char* name) {
    if (!name) return Family::kUnknown;
    for (const FamilyName& f : kFamilyNames)
        if (std::strcmp(name, f.name) == 0) return f.family;
    return Family::kUnknown;
}

CPDFCSBase* device_space(int32_t comps) {
    switch (comps) {
        case 1:
            return new (std::nothrow) CPDFCSDeviceGray();
        case 3:
            return new (std::nothrow) CPDFCSDeviceRGB();
        case 4:
            return new (std::nothrow) CPDFCSDeviceCMYK();
        default:
            return nullptr;
    }
}

// The stream's dictionary is all that is read: the profile itself is not
// interpreted. An Alternate wins when it parses and agrees with /N (or /N is
// no usable count); Indexed and Pattern are no alternates for a profile.
CPDFCSBase* icc_space(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth) {
    ScopedObj holder;
    const CPDFObj* stream = detail::resolve(detail::array_at(arr, 1), xref, holder.obj);
    if (!stream || !stream->dict()) return nullptr;
    const int32_t n = detail::obj_to_int(xref, detail::dict_find(*stream, "N"));
    const bool n_usable = n >= 1 && n <= detail::kCsMaxComps;
    CPDFCSBase* alt = detail::parse_cs(detail::dict_find(*stream, "Alternate"), xref, depth + 1);
    if (alt && alt->m_family != kCsFamilyIndexed && (!n_usable || alt->m_comp_count == n))
        return alt;
    delete alt;
    return device_space(n);
}

CPDFCSBase* array_space(const CPDFArray* arr, CPDFXRefTable* xref, int32_t depth) {
    ScopedObj holder;
    const char* name = detail::name_of(detail::resolve(detail::array_at(arr, 0), xref, holder.obj));
    switch (family_of(name)) {
        case Family::kGray:
        case Family::kCalGray:
            return device_space(1);
        case Family::kRGB:
        case Family::kCalRGB:
            return device_space(3);
        case Family::kCMYK:
            return device_space(4);
        case Family::kICC:
            return icc_space(arr, xref, depth);
        case Family::kIndexed:
            return CPDFCSIndexed::load(arr, xref, depth);
        case Family::kSeparation:
            return CPDFCSSeparation::load_separation(arr, xref, depth);
        case Family::kDeviceN:
            return CPDFCSSeparation::load_device_n(arr, xref, depth);
        case Family::kLab:
            return CPDFCSLab::load(arr, xref);
        case Family::kUnknown:
            break;
    }
    return nullptr;
}
}  // namespace

namespace detail {

const CPDFObj* resolve(const CPDFObj* obj, CPDFXRefTable* xref, CPDFObj& holder) {
    if (!obj || obj->m_tag != kObjRef) return obj;
    deref(xref, obj, holder);
    return &holder;
}

CPDFCSBase* parse_cs(const CPDFObj* obj, CPDFXRefTable* xref, int32_t depth) {
    if (!obj || depth > kCsMaxDepth) return nullptr;
    switch (obj->m_tag) {
        case kObjName:
            // A bare family name only stands for the spaces that need no
            // parameters.
            switch (family_of(obj->m_name)) {
                case Family::kGray:
                    return device_space(1);
                case Family::kRGB:
                    return device_space(3);
                case Family::kCMYK:
                    return device_space(4);
                default:
                    return nullptr;
            }
        case kObjArray:
            return array_space(obj->m_array, xref, depth);
        case kObjRef: {
            if (!xref) return nullptr;
            ScopedObj l;
            deref(xref, obj, l.obj);
            return parse_cs(&l.obj, xref, depth + 1);
        }
        default:
            return nullptr;
    }
}

}  // namespace detail

CPDFCSBase* CPDFCSBase::parser_cs(const CPDFObj* obj, CPDFXRefTable* xref) {
    return detail::parse_cs(obj, xref, 0);
}

}  // namespace shadepaint
