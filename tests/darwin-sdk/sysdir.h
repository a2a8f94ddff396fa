/* Declarations of the Darwin system directory search used by this project. */
#ifndef __SYSDIR_H__
#define __SYSDIR_H__

typedef enum : unsigned int {
    SYSDIR_DIRECTORY_APPLICATION_SUPPORT = 14,
} sysdir_search_path_directory_t;

typedef enum : unsigned int {
    SYSDIR_DOMAIN_MASK_USER = (1UL << 0),
} sysdir_search_path_domain_mask_t;

typedef unsigned int sysdir_search_path_enumeration_state;

#ifdef __cplusplus
extern "C" {
#endif

sysdir_search_path_enumeration_state sysdir_start_search_path_enumeration(
    sysdir_search_path_directory_t dir, sysdir_search_path_domain_mask_t domainMask);
sysdir_search_path_enumeration_state sysdir_get_next_search_path_enumeration(
    sysdir_search_path_enumeration_state state, char* path);

#ifdef __cplusplus
}
#endif

#endif
