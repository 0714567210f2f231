// An in-memory PDF document: indirect objects by number, filled from PDF
// object syntax. It resolves references for the painter and opens streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
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

    // Both readers take the text of one object in PDF syntax: null, true,
    // false, integers, reals, literal and hex strings, names, arrays,
    // dictionaries, references "N G R" and, as the outermost object only, a
    // stream "<< ... /Length n >> stream" + LF or CR LF + n bytes + "endstream".
    // Comments count as white space; white space may follow the object,
    // anything else after it is a syntax error. Choices where PDF leaves room:
    // - Numbers: an integer outside int32 becomes a real; a real is the KXFIX
    //   nearest its decimal value, halves away from zero, and beyond the fixed
    //   range it saturates at raw INT64_MAX / INT64_MIN.
    // - Names: "#xx" is the byte xx; "#00" or a "#" without two hex digits is
    //   a syntax error (a raw zero byte is white space and ends the name).
    // - Dictionaries are stored sorted by strcmp; a repeated key keeps the
    //   last value written.
    // - References need plain digits within int32 for both numbers.
    // - /Length of a stream must be a direct non-negative integer no larger
    //   than the text left behind the keyword, and "endstream" must follow.
    // - Arrays and dictionaries nest at most 64 deep.
    // The record of a stream holds a pointer to the body in m_data0 and the
    // body length in the low 32 bits of m_data2; m_data1 and m_data3 are 0.

    // Adds or replaces indirect object num (generation 0) from its PDF text;
    // a negative num is refused. On a syntax error or a failed allocation
    // returns false and leaves the table unchanged. Stream bodies are copied
    // into the table and kept for as long as it lives, also when their object
    // is replaced, so records copied out earlier stay readable.
    bool set_object(int32_t num, const char* text, size_t len);

    // Parses one direct object. out must be initialised; its old value is freed.
    // On a syntax error returns false and leaves out empty (tag 0). A parsed
    // stream's body stays in text: the caller keeps text alive for as long as
    // the record or a stream made from it is used.
    static bool parse_object(const char* text, size_t len, CPDFObj& out);

    // Replaces out by a deep copy of the object ref names; leaves it tag 0 when
    // nothing answers, which includes a generation other than 0. A reference
    // stored as an object comes back as that reference, not followed further.
    // Returns 1 when found, else 0.
    int32_t get_entity(CPDFObj& out, const PDF_REF& ref);

    // A reader of the record's body, decoded through its /Filter entry (see
    // CPDFFilterChain::open), or null for a null record, one without a body or
    // a failed allocation. m_length is the undecoded length. The record must
    // come from this table (or from parse_object with its text still alive),
    // and the stream must not outlive the table. The caller deletes it.
    CPDFStream* make_stream(const CPDFStreamRec* rec);

    // A rectangle and a matrix from a PDF array (directly or behind a
    // reference). Non-numeric elements read as 0.
    void read_obj_rect(_KXRECTF& rect, const CPDFObj* obj);
    void read_obj_matrix(_KXMATRIX& matrix, const CPDFObj* obj);

private:
    std::map<uint32_t, CPDFObj> m_objects;
    // Stream bodies copied by set_object (KXAlloc blocks); records point into
    // them until the table is destroyed.
    std::vector<unsigned char*> m_texts;
};

}  // namespace shadepaint
