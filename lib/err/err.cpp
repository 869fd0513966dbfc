// The error state and its stack: owns err_, err_msg, os_err, the stack slots and daemon_op.
// Texts are built with the heap strings of lib/text, whose allocations may be traced into the
// debug log; so every routine here puts the state in order (texts detached, flag final) before
// it allocates or frees. A text that cannot be built because memory ran out is lost, and the
// allocation failure (raised first) stands instead; with no memory even for that message, the
// static "Mem alloc failure" does.
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
static const size_t max_len = 65534;  // the longest text the joins of lib/text build

// mem_alloc_fail's text in a block of its own: raising it needs no memory. The one text of the
// state that is never freed.
static char no_memory[] = "Mem alloc failure";

// Frees a text of the state (unless it is no_memory) and nulls the pointer.
static void release(char** text) {
    if (*text == no_memory)
        *text = nullptr;
    else
        MEM_FR(text);
}

// Makes text (a heap string, taken over) the pending error's text. The state is complete before
// the old text is freed, since freeing may be traced.
static void raise_owned(char* text) {
    char* old = err_msg;
    err_msg = text;
    err_ = 1;
    release(&old);
}

void NOMEM_ERR() {
    if (!err_) raise_owned(no_memory);
}

void S_ERR(const char* text) {
    if (err_) return;
    if (!text || !*text) text = "(null)";
    char* copy = S_CP(text);
    if (!err_) raise_owned(copy);  // else the copy's own failure is the error now
}

void SM_ERR(const char* piece, ...) {
    if (err_) return;
    va_list ap;
    va_start(ap, piece);
    char* joined = SM_CP_VA(piece, ap);
    va_end(ap);
    if (!joined) joined = S_CP("");  // a null first piece raises the empty text
    if (!err_) raise_owned(joined);  // else the join's failure (overflow, memory) is the error
}

void S_ERRA(const char* text) {
    if (!text || !*text) {
        err_ = 1;
        return;
    }
    char* old = err_msg;  // detached while the longer text is built: a failure raised there
    err_msg = nullptr;    // takes its place, and old is not left behind as a freed text
    err_ = 0;             // MEM_AL refuses to work while an error is pending
    size_t have = old ? strlen(old) : 0, add = strlen(text);
    if (have + add > max_len) S_ERR("String overflow");
    // Built by hand, not by a join: a failed join adds its name through this very function, and
    // with no memory left that would never end.
    char* longer = MEM_AL(have + add + 1);
    if (longer) {
        if (have) memcpy(longer, old, have);
        memcpy(longer + have, text, add + 1);
        raise_owned(longer);
    }
    release(&old);
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
    char** slot = &psh_err_msgs[psh_err_cnt++];  // taken first: pushes made below go above it
    release(slot);
    if (!err_) return;
    err_ = 0;
    *slot = err_msg;  // the pending text moves to the slot; err_msg becomes a copy of it
    err_msg = nullptr;
    char* copy = S_CP(*slot);
    if (!err_) err_msg = copy;  // else the copy's failure is what stays pending
}

void POP_ERR() {
    if (psh_err_cnt == 0) return;
    char** slot = &psh_err_msgs[--psh_err_cnt];
    char* saved = *slot;
    *slot = nullptr;  // detached before anything is freed: a trace below may push into it
    if (saved) raise_owned(saved);
}

void HOLD_ERR(ERRSDF* held) {
    held->err = err_;
    held->msg = err_msg;
    err_ = 0;
    err_msg = nullptr;
}

void BACK_ERR(const ERRSDF* held) {
    char* gone = held->msg;
    if (!err_ || held->err) {  // nothing newer to keep: the held state returns exactly
        gone = err_msg;
        err_msg = held->msg;
        err_ = held->err;
    }
    release(&gone);
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
