// Internal pieces of the directory tree used by initialisation.
#pragma once

namespace cairn {

// The product's default installation "bin" directory, used for the crypto
// library's search path when the installation has none.
constexpr const char *kDefaultInstallBin = "/opt/Quillmark/bxr/bin";

// Set the crypto library's search path from the installation directory.
void crypto_search_path_init();

}  // namespace cairn
