// Conversions between plain and structured text (see i18n_text.hpp).
#include "attributes/i18n_text.hpp"

#include "cairn/utilities.h"

namespace cairn::attrs {

char *structured_from_string(const char *text) { return xstrdup(text ? text : ""); }

char *local_from_structured(const char *text) { return xstrdup(text ? text : ""); }

}  // namespace cairn::attrs
