// A program that initialises the library and prints what it found, so that
// tests can run it from copies placed in directory trees of their own.
// Usage: cairn_init_probe NAME  (NAME "-" for none)
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "frame/process_identity.hpp"

static const char *show(const char *s) { return s ? s : "(null)"; }

int main(int argc, char **argv)
{
    const char *name = argc > 1 && std::strcmp(argv[1], "-") != 0 ? argv[1] : nullptr;
    _oxinit(name, argc, argv);
    char progname[256];
    std::printf("progname=%s\n", ox_get_progname(progname, sizeof progname));
    std::printf("appname=%s\n", show(get_saved_appname()));
    std::printf("catalog=%s\n", show(get_saved_catalog()));
    std::printf("bindir=%s\n", show(ox_get_bindir()));
    std::printf("tmpdir=%s\n", show(ox_get_tmpdir()));
    std::printf("securedir=%s\n", show(ox_get_securedir()));
    std::printf("installdir=%s\n", show(ox_get_installdir()));
    std::printf("debugfile=%s\n", cairn::debug_control_path());
    std::printf("fips=%s\n", show(ox_getenv("R_SHLIB_LD_LIBRARY_PATH")));
    return 0;
}
