// parse_func on hostile input, then a few evaluations and the delete. The
// first byte chooses the form of the rest: odd, a calculator program, put in a
// stream with a fixed dictionary of two inputs and three outputs; even, PDF
// object text for objects 1 to 4, separated by lines of "%%", of which object
// 1 is parsed (through a reference, so that functions can name each other).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/xref_table.h"
#include "numeric/kxfix.h"
#include "object/pdf_obj.h"
#include "shading/function.h"

using namespace shadepaint;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    CPDFXRefTable xref;
    if (data[0] & 1) {
        const std::string text =
            "<</FunctionType 4 /Domain [-2 2 -2 2] /Range [-1 1 -1 1 -1 1] /Length " +
            std::to_string(rest.size()) + ">>stream\n" + rest + "\nendstream";
        xref.set_object(1, text.data(), text.size());
    } else {
        const std::string sep = "\n%%\n";
        size_t from = 0;
        for (int32_t num = 1; num <= 4 && from <= rest.size(); ++num) {
            size_t to = rest.find(sep, from);
            if (to == std::string::npos) to = rest.size();
            xref.set_object(num, rest.data() + from, to - from);
            from = to + sep.size();
        }
    }

    CPDFObj ref;
    ref.init_empty();
    ref.m_tag = kObjRef;
    ref.m_ref = PDF_REF{1, 0};
    CPDFFunction* f = CPDFFunction::parse_func(&ref, &xref);
    if (!f) return 0;
    if (f->m_inputs < 1 || f->m_inputs > CPDFFunction::kMaxInputs || f->m_outputs < 1 ||
        f->m_outputs > CPDFFunction::kMaxOutputs)
        std::abort();
    const int64_t probes[] = {INT64_MIN, -kKxOne, 0, kKxHalf, kKxOne, 3 * kKxOne, INT64_MAX};
    for (int64_t p : probes) {
        KXFIX in[CPDFFunction::kMaxInputs];
        KXFIX out[CPDFFunction::kMaxOutputs];
        for (int32_t i = 0; i < CPDFFunction::kMaxInputs; ++i)
            in[i] = KXFIX::from_raw(i % 2 ? p : -(p / 2));
        f->evaluate(in, out);
    }
    delete f;
    return 0;
}
