/* The Darwin additions to <unistd.h> used by this project; the POSIX part is the host's. */
#ifndef TALLOWBECK_DARWIN_SDK_UNISTD_H
#define TALLOWBECK_DARWIN_SDK_UNISTD_H

#include_next <unistd.h>

#define _CS_DARWIN_USER_TEMP_DIR 65537

#endif
