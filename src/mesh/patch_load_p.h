// The loading frame of the two patch meshes: the dictionary keys, the body of
// the stream, and the loop that grows the patch store and aligns after every
// patch. What a patch reads, and what it takes over from the one before, is
// the caller's; the frame hands it the flag (its two low bits), the new
// record and the record in front of it.
//
// Open cases, decided here for both meshes:
// - Bit widths outside 0 to 32, a colour space missing or of more than 16
//   components, a Function table that can't be used, and a Decode that is
//   missing or has fewer than four entries load no patches.
// - A first patch whose flag asks for a shared edge takes it from a record of
//   zeros (points at the origin, colours 0), never from outside the store.
// - New store records are cleared, so whatever a patch leaves unwritten is 0.
// - The loop runs while data is left. A patch that consumes nothing would be
//   followed by the same patch forever, the store growing until memory runs
//   out, and a store of more than kPatchStoreMaxBytes counts as memory running
//   out: both end load as a failed allocation does, with no patches at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "engine/kxalloc.h"
#include "mesh/mesh_load_p.h"
#include "mesh/mesh_reader.h"
#include "object/obj_access_p.h"
#include "object/pdf_dictionary.h"
#include "shading/color_space.h"

namespace shadepaint::detail {

// Records added to the store at a time: the store never holds more than three
// spare records.
constexpr int32_t kPatchStoreStep = 4;
// The largest store, about half a million patches.
constexpr size_t kPatchStoreMaxBytes = size_t{256} << 20;

// Drops the whole store: a patch mesh is all or nothing.
template <class Shading>
void drop_patches(Shading& s) {
    KXFree(s.m_groups);
    s.m_groups = nullptr;
    s.m_group_count = 0;
    s.m_group_cap = 0;
}

// Adds kPatchStoreStep cleared records; false when the store can't grow.
template <class Shading>
bool grow_patches(Shading& s) {
    using Group = std::remove_pointer_t<decltype(s.m_groups)>;
    const size_t cap = static_cast<size_t>(s.m_group_cap) + kPatchStoreStep;
    if (cap > kPatchStoreMaxBytes / sizeof(Group)) return false;
    auto* store = static_cast<Group*>(KXRealloc(s.m_groups, cap * sizeof(Group)));
    if (!store) return false;
    std::memset(static_cast<void*>(store + s.m_group_cap), 0, kPatchStoreStep * sizeof(Group));
    s.m_groups = store;
    s.m_group_cap = static_cast<int32_t>(cap);
    return true;
}

// Reads the dictionary and the stream of a patch mesh into s (a Coons or a
// tensor shading, whose fields have the same names) after its base load.
// read_patch(group, prev, flag, reader) fills one new record.
template <class Shading, class ReadPatch>
void load_patches(Shading& s, const ReadPatch& read_patch) {
    using Group = std::remove_pointer_t<decltype(s.m_groups)>;
    const CPDFDictionary* dict = s.m_obj.dict();
    const bool funcs_ok = read_mesh_functions(s.m_xref, dict, s.m_funcs, s.m_func_count);
    s.m_bits_coord = obj_to_int(s.m_xref, dict->find("BitsPerCoordinate"));
    s.m_bits_comp = obj_to_int(s.m_xref, dict->find(CPDFDictionary::sm_tag_bpc));
    s.m_bits_flag = obj_to_int(s.m_xref, dict->find("BitsPerFlag"));
    if (!funcs_ok || !mesh_bits_ok(s.m_bits_coord) || !mesh_bits_ok(s.m_bits_comp) ||
        !mesh_bits_ok(s.m_bits_flag) || !mesh_cs_ok(s.m_cs))
        return;
    if (!read_mesh_decode(s.m_xref, dict, s.m_cs->m_comp_count, s.m_decode_x0, s.m_decode_x1,
                          s.m_decode_y0, s.m_decode_y1, s.m_decode_min, s.m_decode_max))
        return;

    int32_t size = 0;
    unsigned char* data = load_mesh_data(s.m_xref, s.m_obj, size);
    if (!data) return;
    s.m_group_count = 0;
    PDF_BIT_CURSOR cur{data, static_cast<uint32_t>(size), 0};
    CPDFShadingDataReader reader;
    reader.setup(&cur, s.m_bits_coord, s.m_bits_comp, s.m_decode_x0, s.m_decode_x1, s.m_decode_y0,
                 s.m_decode_y1, s.m_funcs, s.m_func_count, s.m_cs, s.m_decode_min, s.m_decode_max);
    static const Group kNoPatch = {};
    const auto flag_bits = static_cast<uint32_t>(s.m_bits_flag);
    while (cur.m_left != 0) {
        // Every patch starts on a byte boundary.
        const uint32_t left = cur.m_left;
        // A flag that doesn't fit reads as all ones, that is flag 3.
        const uint32_t flag = cur.read_bits(flag_bits) & 3;
        if (s.m_group_count >= s.m_group_cap && !grow_patches(s)) {
            drop_patches(s);
            break;
        }
        Group& group = s.m_groups[s.m_group_count];
        const Group& prev = s.m_group_count > 0 ? s.m_groups[s.m_group_count - 1] : kNoPatch;
        read_patch(group, prev, flag, reader);
        ++s.m_group_count;
        cur.align();
        if (cur.m_left == left) {
            drop_patches(s);
            break;
        }
    }
    KXFree(data);
}

}  // namespace shadepaint::detail
