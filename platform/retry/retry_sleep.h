#ifndef PLATFORM_RETRY_RETRY_SLEEP_H
#define PLATFORM_RETRY_RETRY_SLEEP_H

#include "platform/export.h"

// Every wait of the library between attempts goes through this one function,
// so that a test can count the seconds instead of sleeping them.
typedef void (*Retry_Sleep_Function)(unsigned seconds);

// Blocks the calling thread for `seconds` through the installed function
// (ACE_OS::sleep unless replaced).
BSET_API void retry_sleep(unsigned seconds);

// Installs `fn` for the whole process (null restores ACE_OS::sleep) and
// returns the function installed before.
BSET_API Retry_Sleep_Function set_retry_sleep_function(Retry_Sleep_Function fn);

#endif
