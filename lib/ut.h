// The one public header of the ut library: it declares the whole library for the receiver and
// the tests. Files inside lib/ include the headers of what they use instead, so that the include
// graph shows the layering: err and text at the bottom, then time, file, net and console.
#ifndef UT_H
#define UT_H

#include "err/err.h"
#include "err/dbg.h"
#include "text/bytes.h"
#include "text/mem.h"
#include "text/num.h"
#include "text/ring.h"
#include "text/str.h"
#include "text/match.h"
#include "time/clock.h"
#include "time/env.h"
#include "time/tmtext.h"
#include "time/cl.h"
#include "file/stat.h"
#include "file/path.h"
#include "file/fl.h"
#include "file/whole.h"
#include "file/slot.h"
#include "file/exe.h"
#include "file/mv.h"
#include "file/at.h"
#include "net/host.h"
#include "net/sck.h"
#include "net/conn.h"
#include "console/kbd.h"

#endif
