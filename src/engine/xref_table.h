// An in-memory PDF document: indirect objects by number, filled from PDF
// object syntax. It resolves references for the painter and opens streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "numeric/kxgeom.h"
#include "numeric/kxmatrix.h"
#include "object/pdf_obj.h"

namespace shadepaint {

class CPDFStream;
class CPDFStreamRec;

class CPDFXRefTable {
public:
    CPDFXRefTable() = default;
    CPDFXRefTable(const CPDFXRefTable&) = delete;
    CPDFXRefTable& operator=(const CPDFXRefTable&) = delete;
    ~CPDFXRefTable();

    // Adds or replaces indirect object num (generation 0) from its PDF text.
    // On a syntax error returns false and leaves the table unchanged. Stream
    // bodies are kept by the table for as long as it lives.
    bool set_object(int32_t num, const char* text, size_t len);

    // Parses one direct object. On a syntax error returns false and leaves out
    // empty (tag 0). A parsed stream's body stays in text: the caller keeps
    // text alive for as long as the stream is read.
    static bool parse_object(const char* text, size_t len, CPDFObj& out);

    // Replaces out (which arrives empty) by a deep copy of the object ref names;
    // leaves it tag 0 when nothing answers. Returns 1 when found, else 0.
    int32_t get_entity(CPDFObj& out, const PDF_REF& ref);

    // A reader of the record's body, or null (also for a null record). The
    // caller deletes it.
    CPDFStream* make_stream(const CPDFStreamRec* rec);

    // A rectangle and a matrix from a PDF array (directly or behind a
    // reference). Non-numeric elements read as 0.
    void read_obj_rect(_KXRECTF& rect, const CPDFObj* obj);
    void read_obj_matrix(_KXMATRIX& matrix, const CPDFObj* obj);

private:
    std::map<uint32_t, CPDFObj> m_objects;
    // Source texts of set_object; stream records point into them.
    std::vector<std::unique_ptr<char[]>> m_texts;
};

}  // namespace shadepaint
