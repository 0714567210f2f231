// One decoding stage of a filtered stream body. A stage pulls the bytes below
// it through a fixed input buffer and hands out its decoded bytes through
// read(), so a stage never holds more than its buffers, however long the body.
#pragma once

#include <cstdint>

#include "engine/pdf_stream.h"

namespace shadepaint {

class CPDFFilterStream : public CPDFStream {
public:
    // Bytes pulled from the stage below at a time.
    static constexpr uint32_t kInputChunk = 4096;

    ~CPDFFilterStream() override;

    // Fills buffer until size bytes are delivered or the decoded body ends,
    // so a short count always means the end. After the end, or after the data
    // broke, every call returns 0.
    uint32_t read(unsigned char* buffer, uint32_t size) final;

    // Allocates the stage's buffers; false when an allocation failed, and the
    // stage must then be deleted unread. Derived stages extend it.
    virtual bool init();

protected:
    // Takes over src (which may be null: a stage without input), deleting it
    // with the stage. The stage reports the same m_length as its source.
    explicit CPDFFilterStream(CPDFStream* src);

    // Decodes up to size (> 0) bytes into out. Returns the count; 0 means the
    // body ended or broke, and decode is not called again.
    virtual uint32_t decode(unsigned char* out, uint32_t size) = 0;

    // The next input byte, or -1 when the input has ended.
    int32_t next_byte() {
        if (m_in_pos == m_in_end && !refill()) return -1;
        return m_in[m_in_pos++];
    }
    // Copies up to n input bytes to dst; fewer only at the end of the input.
    uint32_t read_input(unsigned char* dst, uint32_t n);
    // Pulls the next chunk into the empty input buffer. False when the stage
    // below has nothing more.
    bool refill();

    // Input bytes m_in[m_in_pos, m_in_end) are pulled but not yet consumed.
    unsigned char* m_in = nullptr;
    uint32_t m_in_pos = 0;
    uint32_t m_in_end = 0;

private:
    CPDFStream* m_src;
    bool m_src_done = false;
    bool m_ended = false;
};

}  // namespace shadepaint
