/* The Darwin names in <sys/stat.h> used by this project; the POSIX part is the host's. Darwin
   calls the nanosecond modification time st_mtimespec, the host's struct stat has the same
   timespec as st_mtim. */
#ifndef TALLOWBECK_DARWIN_SDK_SYS_STAT_H
#define TALLOWBECK_DARWIN_SDK_SYS_STAT_H

#include_next <sys/stat.h>

#define st_mtimespec st_mtim

#endif
