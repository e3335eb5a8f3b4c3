// How the public headers mark what the shared library exports.

#ifndef CONFIGAPI_EXPORT_H_
#define CONFIGAPI_EXPORT_H_

#if defined(__GNUC__)
#define CONFIGAPI_EXPORT __attribute__((visibility("default")))
#else
#define CONFIGAPI_EXPORT
#endif

#ifdef __cplusplus
#define CONFIGAPI_BEGIN_C extern "C" {
#define CONFIGAPI_END_C }
#else
#define CONFIGAPI_BEGIN_C
#define CONFIGAPI_END_C
#endif

#endif  // CONFIGAPI_EXPORT_H_
