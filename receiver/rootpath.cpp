// Refusals of a path under the root: one table row per rule, tried in order, the first that
// applies names the reason. Only the texts are looked at; nothing here touches the file system.
#include "rootpath.h"

#include <cstring>

#include "ut.h"

static char empty_name(const char*, const char* name) {
    return !*name;
}

static char dot_name(const char*, const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

static char slash_name(const char*, const char* name) {
    return strchr(name, '/') != nullptr;
}

static char control(const char* s) {
    for (; *s; s++)
        if (static_cast<unsigned char>(*s) < 32 || *s == 127) return 1;
    return 0;
}

static char control_byte(const char* dir, const char* name) {
    return control(dir) || control(name);
}

static char dotdot_dir(const char* dir, const char*) {
    for (const char* p = dir; (p = strstr(p, "..")); p += 2)
        if ((p == dir || p[-1] == '/') && (p[2] == 0 || p[2] == '/')) return 1;
    return 0;
}

static const struct {
    char (*applies)(const char* dir, const char* name);
    const char* why;
} refusals[] = {
    {empty_name, "empty name"},
    {dot_name, "the name is \".\" or \"..\""},
    {slash_name, "the name holds \"/\""},
    {control_byte, "a control byte in the name or directory"},
    {dotdot_dir, "a \"..\" component would leave the root"},
};

char* ROOT_REL(const char* destdir, const char* fnam) {
    static const char* const rtn = "ROOT_REL";
    if (err_) return nullptr;
    const char* dir = destdir ? destdir : "";
    const char* name = fnam ? fnam : "";
    for (const auto& r : refusals) {
        if (!r.applies(dir, name)) continue;
        const char* shown = *dir ? UT_SM_CP(dir, dir_dlms, name, nullptr) : name;
        SM_ERR("Refused \"", BF_BACKSLASH_X(shown, 65535), "\": ", r.why, nullptr);
        return nullptr;
    }
    while (*dir == '/') dir++;
    char* rel = S_CP(dir);
    RTN_ERR(rtn);
    return rel;
}
