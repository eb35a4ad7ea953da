/** @file
 * sprig: the one macro that marks a name as part of libsprig.so's interface.
 *
 * The library is built with -fvisibility=hidden, so only names marked here
 * appear in the shared object's dynamic symbol table. */
#ifndef SPRIG_EXPORT_H
#define SPRIG_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define SPRIG_EXPORT __attribute__((visibility("default")))
#else
#define SPRIG_EXPORT
#endif

#ifdef __cplusplus
#define SPRIG_EXTERN_C_BEGIN extern "C" {
#define SPRIG_EXTERN_C_END }
#else
#define SPRIG_EXTERN_C_BEGIN
#define SPRIG_EXTERN_C_END
#endif

#endif
