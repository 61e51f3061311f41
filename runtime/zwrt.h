/*
 * zwrt.so: a stand-in for the host's run-time engine. It serves the memory
 * manager and sort that the library takes from its host, lays out blocks
 * exactly as the host does, and has controls that only tests use.
 */
#ifndef ZWRT_H
#define ZWRT_H
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32) && defined(ZWRT_BUILDING)
#define ZWRT_API __declspec(dllexport)
#elif defined(_WIN32)
#define ZWRT_API __declspec(dllimport)
#else
#define ZWRT_API __attribute__((visibility("default")))
#endif

typedef struct ZwArrayBlock ZwArrayBlock;
typedef ZwArrayBlock **ZwArrayHandle;

/* The host's own interface. */
ZWRT_API extern const int32_t gZWRTVersion;
ZWRT_API void **AZNewHandle(size_t bytes);          /* zero-filled block */
ZWRT_API int32_t AZDisposeHandle(void **handle);
ZWRT_API int32_t NumericArrayResize(int32_t typeCode, int32_t numDims, ZwArrayHandle *handle,
                                    size_t numElements);
ZWRT_API void QSort(void *base, int32_t count, int32_t elementSize,
                    int (*compare)(const void *, const void *));

/* Test controls. */
/* The n-th resize from now fails (1 = the next one); 0 turns failures off. */
ZWRT_API void ZwrtFailNthResize(int64_t n);
/* Every resize moves the block to a new address, to catch stale pointers. */
ZWRT_API void ZwrtMoveOnResize(int enabled);
ZWRT_API int64_t ZwrtResizeCount(void);   /* resizes asked for so far */
ZWRT_API int64_t ZwrtLiveHandles(void);
ZWRT_API int64_t ZwrtLiveBytes(void);

#ifdef __cplusplus
}
#endif
#endif
