// The error state and its stack: owns err_, err_msg, os_err, the stack slots and daemon_op.
// Texts are built with the heap strings of lib/text; a text that cannot be built because memory
// ran out is lost, and the allocation failure (raised first) stands instead.
#include "err/err.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "text/mem.h"
#include "text/num.h"
#include "text/str.h"

char err_ = 0;
char* err_msg = nullptr;
int32_t os_err = 0;
char* psh_err_msgs[10] = {};
uint16_t psh_err_cnt = 0;
char daemon_op = 0;

static const int max_pieces = 49;
static const uint16_t stack_depth = 10;

// Makes text (a heap string, taken over) the pending error's text.
static void raise_owned(char* text) {
    MEM_FR(&err_msg);
    err_msg = text;
    err_ = 1;
}

void S_ERR(const char* text) {
    if (err_) return;
    if (!text || !*text) text = "(null)";
    // Not S_RP: if the copy fails, the allocation failure has replaced err_msg already, and the
    // old pointer S_RP would hand back is gone.
    char* copy = S_CP(text);
    if (err_) return;
    raise_owned(copy);
}

void SM_ERR(const char* piece, ...) {
    if (err_) return;
    va_list ap;
    va_start(ap, piece);
    char* joined = SM_CP_VA(piece, ap);
    va_end(ap);
    if (!joined) joined = S_CP("");  // a null first piece raises the empty text
    if (err_) {  // the join failed (overflow, memory): that failure is the error now
        MEM_FR(&joined);
        return;
    }
    raise_owned(joined);
}

void S_ERRA(const char* text) {
    err_ = 0;  // S_A refuses to work while an error is pending
    char* longer = S_A(err_msg, text);
    if (err_) return;  // the append failed and raised its own text, which replaced err_msg
    err_msg = longer;
    err_ = 1;
}

void SM_ERRA(const char* piece, ...) {
    if (!piece) return;
    va_list ap;
    va_start(ap, piece);
    for (int i = 0; i < max_pieces && piece; i++) {
        S_ERRA(piece);
        piece = va_arg(ap, const char*);
    }
    va_end(ap);
}

char RTN_ERR(const char* name) {
    if (!err_) return 0;
    SM_ERRA(" [", name, "]", nullptr);
    return 1;
}

char* ERR_S() {
    if (!err_) return nullptr;
    err_ = 0;
    return err_msg;
}

void PSH_ERR() {
    if (psh_err_cnt >= stack_depth) return;
    char** slot = &psh_err_msgs[psh_err_cnt];
    MEM_FR(slot);
    if (err_) {
        err_ = 0;
        *slot = S_CP(err_msg);  // if this copy fails, its allocation error is what stays pending
    }
    psh_err_cnt++;
}

void POP_ERR() {
    if (psh_err_cnt == 0) return;
    char** slot = &psh_err_msgs[--psh_err_cnt];
    if (!*slot) return;
    raise_owned(*slot);  // the saved text moves back: no allocation, so the pop cannot fail
    *slot = nullptr;
}

long OS_ERR(const char* name, const char* detail, long code) {
    long number = errno;
    if (err_) return 1;
    if (code != 0) number = code;
    if (!name && number == 0) return 0;
    if (!detail) detail = "";
    char* text;
    if (number == 0) {
        text = SM_CP(name, detail, nullptr);
    } else {
        os_err = static_cast<int32_t>(number);
        const char* num = V_S10(number, nullptr, 0);
        const char* why = strerror(static_cast<int>(number));
        text = name ? SM_CP(name, detail, " (err #", num, ":", why, ")", nullptr)
                    : SM_CP("err #", num, ":", why, nullptr);
    }
    S_ERR(text);
    MEM_FR(&text);
    return number;
}

char ST_OK(const char* s) {
    return s != nullptr;
}
