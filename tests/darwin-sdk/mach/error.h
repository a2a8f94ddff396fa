/* Declarations of the Darwin error-code layout used by this project. */
#ifndef _MACH_ERROR_H_
#define _MACH_ERROR_H_

#define err_system(x) (((x)&0x3f) << 26)
#define err_sub(x) (((x)&0xfff) << 14)

#endif
