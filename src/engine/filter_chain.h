// The reader of a stream body with a /Filter entry: the filters' stages
// stacked over the raw body, each pulling from the one below.
#pragma once

#include <cstdint>

#include "engine/pdf_stream.h"

namespace shadepaint {

class CPDFStreamRec;
class CPDFXRefTable;

class CPDFFilterChain : public CPDFStream {
public:
    // A longer /Filter array is not decoded: each stage holds buffers.
    static constexpr int32_t kMaxFilters = 8;

    // Takes over raw, the undecoded body of rec, and opens it through rec's
    // "Filter" and "DecodeParms" entries (values behind references are
    // followed through xref). Returns raw itself when there is nothing to
    // decode, null when an allocation fails (raw is then deleted), and
    // otherwise a chain, whose m_length is raw's.
    //
    // Filters: FlateDecode, LZWDecode, ASCIIHexDecode, ASCII85Decode and
    // RunLengthDecode, also as Fl, LZW, AHx, A85 and RL. Any other filter,
    // including the image filters (DCTDecode, JPXDecode, JBIG2Decode,
    // CCITTFaxDecode) and Crypt, gives a chain without data: its body is
    // nothing this system can read, and an empty body is the fallback every
    // loader already handles. The same goes for a non-name in the list, more
    // than kMaxFilters filters, a Predictor other than 1, 2 or 10 to 15, and
    // predictor rows that CPDFFilterPredictor::row_bytes refuses.
    static CPDFStream* open(CPDFXRefTable* xref, const CPDFStreamRec* rec, CPDFStream* raw);

    ~CPDFFilterChain() override;

    uint32_t read(unsigned char* buffer, uint32_t size) override;

private:
    CPDFFilterChain(CPDFStream* top, int32_t length) : m_top(top) { m_length = length; }

    CPDFStream* m_top;  // the last stage, owning those below; null: no data
};

}  // namespace shadepaint
