/* Declarations of the Darwin quality-of-service classes used by this project. */
#ifndef _SYS_QOS_H
#define _SYS_QOS_H

typedef enum : unsigned int {
    QOS_CLASS_UTILITY = 0x11,
} qos_class_t;

#endif
