/* Declarations of the libdispatch queue and memory-pressure source calls used by this project,
 * in the form they take for C++ without Objective-C. */
#ifndef __DISPATCH_PUBLIC__
#define __DISPATCH_PUBLIC__

#include <stddef.h>
#include <stdint.h>
#include <sys/qos.h>

typedef struct dispatch_object_s {
private:
    dispatch_object_s();
    ~dispatch_object_s();
    dispatch_object_s(const dispatch_object_s&);
    void operator=(const dispatch_object_s&);
} * dispatch_object_t;

#define DISPATCH_DECL(name) typedef struct name##_s : public dispatch_object_s{} * name##_t

DISPATCH_DECL(dispatch_queue);
DISPATCH_DECL(dispatch_queue_attr);
DISPATCH_DECL(dispatch_source);

typedef void (*dispatch_function_t)(void*);
typedef qos_class_t dispatch_qos_class_t;

#define DISPATCH_QUEUE_SERIAL NULL

typedef const struct dispatch_source_type_s* dispatch_source_type_t;

#define DISPATCH_MEMORYPRESSURE_NORMAL 0x01
#define DISPATCH_MEMORYPRESSURE_WARN 0x02
#define DISPATCH_MEMORYPRESSURE_CRITICAL 0x04

#ifdef __cplusplus
extern "C" {
#endif

extern const struct dispatch_source_type_s _dispatch_source_type_memorypressure;
#define DISPATCH_SOURCE_TYPE_MEMORYPRESSURE (&_dispatch_source_type_memorypressure)

void dispatch_release(dispatch_object_t object);
void dispatch_set_context(dispatch_object_t object, void* context);
void dispatch_resume(dispatch_object_t object);

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attr,
                                                              dispatch_qos_class_t qos_class,
                                                              int relative_priority);
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);
void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle,
                                         uintptr_t mask, dispatch_queue_t queue);
void dispatch_source_set_event_handler_f(dispatch_source_t source, dispatch_function_t handler);
uintptr_t dispatch_source_get_data(dispatch_source_t source);
void dispatch_source_cancel(dispatch_source_t source);

#ifdef __cplusplus
}
#endif

#endif
