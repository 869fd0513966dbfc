// Environment switches read as truth values. Owns the list of first characters that mean "off";
// the environment itself is the C library's.
#include "time/env.h"

#include <cstdlib>
#include <cstring>

// First characters that switch a setting off: "0", "false", "no" in either case.
static const char off_chars[] = "0FfNn";

char ENV_VAR_TF(const char* name, char dflt) {
    const char* v = name ? getenv(name) : nullptr;
    // An empty value is what "VAR=" leaves behind when someone clears a setting: treat it as
    // not set rather than guess a meaning for it.
    if (!v || !*v) return dflt;
    return strchr(off_chars, *v) ? 0 : 1;
}
