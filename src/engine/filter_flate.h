// FlateDecode: a zlib stream (RFC 1950) inflated through the system zlib.
#pragma once

#include <cstdint>

#include "engine/filter_stream.h"

namespace shadepaint {

namespace detail {
struct FlateState;
}

class CPDFFilterFlate : public CPDFFilterStream {
public:
    explicit CPDFFilterFlate(CPDFStream* src) : CPDFFilterStream(src) {}
    ~CPDFFilterFlate() override;

    bool init() override;

protected:
    uint32_t decode(unsigned char* out, uint32_t size) override;

private:
    detail::FlateState* m_state = nullptr;  // zlib's z_stream, kept out of this header
};

}  // namespace shadepaint
