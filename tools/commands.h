// The subcommands of the shadepaint tool. Each returns the process exit code:
// 0 done, 1 failed (message on stderr), 2 wrong usage.
#pragma once

namespace shadepaint::cli {

int run_demo(int argc, char** argv);
int run_render(int argc, char** argv);

}  // namespace shadepaint::cli
