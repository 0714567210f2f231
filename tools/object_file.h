// Splitting a text of indirect objects ("N G obj ... endobj"), such as an
// uncompressed PDF file, into the object texts that CPDFXRefTable::set_object
// reads. Everything between objects (header, xref table, trailer) is ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace shadepaint::cli {

struct ObjectText {
    int32_t num = 0;
    int32_t gen = 0;
    size_t offset = 0;  // of the object's number in the source, for messages
    std::string body;   // text between "obj" and "endobj", ready for set_object
};

// Finds every indirect object of text, in order. Stream bodies are skipped up to
// "endstream" so that their bytes can't end an object, and a stream /Length
// given as a reference is replaced by its value (the referenced object's integer
// when the text holds one, else the measured body length), because set_object
// takes only a direct /Length. A header whose numbers exceed 32 bits is not taken
// for one. Returns false with a message for an object without "endobj" (or a
// stream without "endstream"); the objects before it stay in out.
bool split_objects(const char* text, size_t len, std::vector<ObjectText>& out, std::string& error);

}  // namespace shadepaint::cli
