// The senders --allow lets in: a comma-separated list of exact addresses, "~" gaps
// ("192.168.1.~") and ranges ("192.168.1.10...192.168.1.20"), turned once into a text list
// for CL_X. Owns nothing beyond the list it builds; the caller frees it with CL_FR.
#ifndef ZIMB_ALLOW_H
#define ZIMB_ALLOW_H

#include <netinet/in.h>

// The list for ALLOW_OK, null-ended, every text and the array from MEM_AL (free with CL_FR).
// Null with an error naming the entry at fault: "\"x\" is invalid" for an address, "range
// \"a...b\" runs backwards", "\"x\": a gap entry holds only digits, \".\" and \"~\"",
// "empty entry".
char** ALLOW_CL(const char* list);

// 1 when the peer address sai is in the list. Runs while an error is pending (which it leaves).
char ALLOW_OK(char* const* cl, const sockaddr_in* sai);

#endif
