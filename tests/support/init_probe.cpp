// A program that initialises the library and prints what it found, so that
// tests can run it from copies placed in directory trees of their own.
// Usage: cairn_init_probe NAME  (NAME "-" for none)
#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
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
    const struct {
        const char *name;
        const char *(*get)(void);
    } dirs[] = {
        {"applogs", ox_get_applogsdir}, {"bin", ox_get_bindir},     {"cores", ox_get_coresdir},
        {"cst", ox_get_cstdir},         {"debug", ox_get_debugdir}, {"etc", ox_get_etcdir},
        {"gls", ox_get_glsdir},         {"index", ox_get_indexdir}, {"lib", ox_get_libdir},
        {"logs", ox_get_logsdir},       {"mm", ox_get_mmdir},       {"mod", ox_get_moddir},
        {"rap", ox_get_rapdir},         {"res", ox_get_resdir},     {"tmp", ox_get_tmpdir}};
    for (const auto &d : dirs)
        std::printf("%sdir=%s\n", d.name, show(d.get()));
    std::printf("securedir=%s\n", show(ox_get_securedir()));
    std::printf("installdir=%s\n", show(ox_get_installdir()));
    std::printf("debugfile=%s\n", cairn::debug_control_path());
    std::printf("controlfile=%s\n", show(ox_debug_control_file()));
    std::printf("fips=%s\n", show(ox_getenv("R_SHLIB_LD_LIBRARY_PATH")));
    ox_set_fips_path("/opt/x", "lib64");
    std::printf("fips_given=%s\n", show(ox_getenv("R_SHLIB_LD_LIBRARY_PATH")));
    ox_set_argv0(argv[0]);
    std::printf("argv0_kept=%d\n",
                ox_get_argv0() != nullptr && std::strcmp(ox_get_argv0(), argv[0]) == 0);
    // Repeating the application-directory lookup finds the same tree.
    re_init_locales();
    std::printf("bindir_again=%s\n", show(ox_get_bindir()));
    return 0;
}
