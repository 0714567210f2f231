// The shadepaint command: a gallery of built-in shadings, and the painting of a
// shading taken from a document.
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace {

constexpr char kHelp[] =
    "usage: shadepaint demo OUTDIR\n"
    "       shadepaint render FILE OUT.png [--object N] [--size WxH]\n"
    "                         [--matrix a b c d e f] [--gray]\n"
    "\n"
    "demo     paints the built-in gallery of shadings into OUTDIR, one PNG file per\n"
    "         sample (and a gray one for some), and writes OUTDIR/index.html, which\n"
    "         shows every picture with its title and its PDF text.\n"
    "\n"
    "render   paints one shading of FILE into OUT.png. FILE holds PDF objects as\n"
    "         text, \"N 0 obj ... endobj\"; anything between objects is skipped, so\n"
    "         an uncompressed PDF file can be given whole, for instance one written\n"
    "         by  qpdf --qdf --object-streams=disable in.pdf out.pdf  (object\n"
    "         streams can't be read; stream bodies may use the Flate, LZW,\n"
    "         ASCIIHex, ASCII85 and RunLength filters). A stream /Length given as\n"
    "         a reference is taken from the referenced object.\n"
    "\n"
    "  --object N      the shading is object N (default: the file's first object).\n"
    "                  It may also be a shading pattern (PatternType 2): its\n"
    "                  Shading is painted under its Matrix.\n"
    "  --size WxH      picture size in pixels (default 512x512; at most 16384 a\n"
    "                  side and 2^26 pixels).\n"
    "  --matrix a b c d e f\n"
    "                  maps shading space (after a pattern's Matrix) to pixels,\n"
    "                  x' = a x + c y + e, y' = b x + d y + f, y down. Default: the\n"
    "                  shading's BBox, or else its Coords, Domain or Decode, fitted\n"
    "                  into the picture with y up and a 10% margin.\n"
    "  --gray          paint gray with alpha instead of colour.\n"
    "\n"
    "The picture is painted through a fully covering mask; pixels the shading\n"
    "does not reach stay transparent. Exit status: 0 done, 1 failed, 2 bad usage.\n";

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(kHelp, stderr);
        return 2;
    }
    const char* cmd = argv[1];
    if (std::strcmp(cmd, "--help") == 0 || std::strcmp(cmd, "-h") == 0 ||
        std::strcmp(cmd, "help") == 0) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(kHelp, stdout);
            return 0;
        }
    }
    if (std::strcmp(cmd, "demo") == 0) return shadepaint::cli::run_demo(argc - 2, argv + 2);
    if (std::strcmp(cmd, "render") == 0) return shadepaint::cli::run_render(argc - 2, argv + 2);
    std::fprintf(stderr, "shadepaint: unknown command '%s' (try --help)\n", cmd);
    return 2;
}
