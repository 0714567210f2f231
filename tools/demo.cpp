// shadepaint demo OUTDIR: paints every gallery sample into OUTDIR and writes an
// index.html that shows each picture with its title and its PDF text. A sample
// that fails (bad text, no shading, nothing painted, a file not written) is
// reported and the rest still run; the exit code then says 1.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "commands.h"
#include "gallery.h"
#include "object_file.h"
#include "paint.h"

namespace shadepaint::cli {

namespace {

std::string html_escape(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// Reads the sample's PDF text: its indirect objects into xref, its shading
// into shading, its matrix. False with a message.
bool read_sample(const GallerySample& s, CPDFXRefTable& xref, CPDFObj& shading, _KXMATRIX& matrix,
                 std::string& error) {
    std::vector<ObjectText> objects;
    if (!split_objects(s.objects, std::strlen(s.objects), objects, error)) return false;
    for (const ObjectText& o : objects) {
        if (!xref.set_object(o.num, o.body.data(), o.body.size())) {
            error = "object " + std::to_string(o.num) + ": syntax error";
            return false;
        }
    }
    if (!CPDFXRefTable::parse_object(s.shading, std::strlen(s.shading), shading)) {
        error = "syntax error in the shading dictionary";
        return false;
    }
    if (!parse_matrix(s.matrix, matrix)) {
        error = "bad matrix " + std::string(s.matrix);
        return false;
    }
    return true;
}

struct Picture {
    std::string file;  // name inside the output directory
    bool ok = false;
};

// Paints one picture of a sample; prints what happened.
Picture paint_one(const GallerySample& s, const std::filesystem::path& dir, bool gray) {
    Picture pic;
    pic.file = std::string(s.name) + (gray ? "_gray.png" : ".png");
    const std::string path = (dir / pic.file).string();
    std::string error;
    CPDFXRefTable xref;
    ScopedObj shading;
    PaintRequest rq;
    if (read_sample(s, xref, shading.obj, rq.matrix, error)) {
        rq.shading = &shading.obj;
        rq.width = s.width;
        rq.height = s.height;
        rq.gray = gray;
        rq.path = path;
        PaintResult r = paint_to_png(xref, rq);
        if (!r.ok) {
            error = r.error;
        } else if (r.painted == 0) {
            std::remove(path.c_str());
            error = "nothing was painted";
        } else {
            std::printf("wrote %s (%dx%d, %lld pixels painted)\n", path.c_str(), s.width, s.height,
                        static_cast<long long>(r.painted));
            pic.ok = true;
        }
    }
    if (!pic.ok) std::fprintf(stderr, "shadepaint: %s: %s\n", pic.file.c_str(), error.c_str());
    return pic;
}

void write_sample_html(std::ofstream& html, const GallerySample& s, const Picture& colour,
                       const Picture* gray) {
    html << "<figure id=\"" << s.name << "\">\n<div class=\"pics\">";
    for (const Picture* p : {&colour, gray}) {
        if (!p) continue;
        if (p->ok) {
            html << "<img src=\"" << html_escape(p->file) << "\" width=\"" << s.width
                 << "\" height=\"" << s.height << "\" alt=\"" << html_escape(s.title) << "\">";
        } else {
            html << "<div class=\"failed\" style=\"width:" << s.width << "px;height:" << s.height
                 << "px\">" << html_escape(p->file) << " failed</div>";
        }
    }
    html << "</div>\n<figcaption><b>" << html_escape(s.title) << "</b> <code>" << s.name
         << "</code>\n<pre>" << html_escape(s.shading) << "</pre>\n";
    if (*s.objects) html << "<pre>" << html_escape(s.objects) << "</pre>\n";
    html << "<p>device matrix <code>" << html_escape(s.matrix) << "</code>, " << s.width << "x"
         << s.height << " pixels" << (gray ? "; right: the gray rendering" : "")
         << "</p></figcaption>\n</figure>\n";
}

constexpr char kHead[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>shadepaint gallery</title>
<style>
body { font-family: sans-serif; margin: 2em; max-width: 70em; }
figure { margin: 0 0 2.5em 0; }
.pics { display: flex; gap: 1em; }
/* a checkerboard behind the pictures shows where they are transparent */
img, .failed { background: repeating-conic-gradient(#ccc 0% 25%, #fff 0% 50%) 0 0 / 16px 16px; }
.failed { display: flex; align-items: center; justify-content: center; color: #b00; }
pre { background: #f4f4f4; padding: 0.5em; overflow-x: auto; }
</style></head><body>
<h1>shadepaint gallery</h1>
<p>Each picture is painted through a fully covering mask, so opaque pixels have alpha 254;
the checkerboard shows through where a shading paints nothing.</p>
)";

}  // namespace

int run_demo(int argc, char** argv) {
    if (argc != 1) {
        std::fprintf(stderr, "usage: shadepaint demo OUTDIR\n");
        return 2;
    }
    const std::filesystem::path dir(argv[0]);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        std::fprintf(stderr, "shadepaint: can't create %s: %s\n", argv[0], ec.message().c_str());
        return 1;
    }
    const std::string index = (dir / "index.html").string();
    std::ofstream html(index, std::ios::binary | std::ios::trunc);
    if (!html) {
        std::fprintf(stderr, "shadepaint: can't write %s\n", index.c_str());
        return 1;
    }
    html << kHead;
    int failures = 0;
    size_t section_count = 0;
    const GallerySection* sections = gallery_sections(section_count);
    for (size_t k = 0; k < section_count; ++k) {
        const GallerySection& sec = sections[k];
        html << "<h2>" << html_escape(sec.title) << "</h2>\n";
        for (size_t i = 0; i < sec.count; ++i) {
            const GallerySample& s = sec.samples[i];
            Picture colour = paint_one(s, dir, false);
            Picture gray;
            if (s.gray) gray = paint_one(s, dir, true);
            failures += !colour.ok + (s.gray && !gray.ok);
            write_sample_html(html, s, colour, s.gray ? &gray : nullptr);
        }
    }
    html << "</body></html>\n";
    html.close();
    if (!html) {
        std::fprintf(stderr, "shadepaint: can't write %s\n", index.c_str());
        return 1;
    }
    std::printf("wrote %s\n", index.c_str());
    if (failures) {
        std::fprintf(stderr, "shadepaint: %d picture(s) failed\n", failures);
        return 1;
    }
    return 0;
}

}  // namespace shadepaint::cli
