// The shadepaint command.
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        std::printf("usage: shadepaint demo OUTDIR\n");
        return argc < 2 ? 2 : 0;
    }
    std::fprintf(stderr, "shadepaint: unknown command '%s'\n", argv[1]);
    return 2;
}
