/* The Darwin additions to <fcntl.h> used by this project; the POSIX part is the host's. */
#ifndef TALLOWBECK_DARWIN_SDK_FCNTL_H
#define TALLOWBECK_DARWIN_SDK_FCNTL_H

#include_next <fcntl.h>

#define F_FULLFSYNC 51

#endif
