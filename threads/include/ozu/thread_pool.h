/**
 * @file thread_pool.h
 * libozu_threads: a ready parallel runner for the colour module, a pool of
 * worker threads that belongs to whoever creates it.
 *
 * @code
 * void* pool = OZU_ThreadPoolCreate(OZU_ThreadPoolDefaultThreads());
 * COL_SetParallelRunner(OZU_ThreadPoolRunner, pool);   // this thread's calls
 * COL_ConvertColorSpace(rgb, &hsv, COL_CODE(COL_RGB, COL_HSV));
 * COL_SetParallelRunner(NULL, NULL);
 * OZU_ThreadPoolDestroy(pool);
 * @endcode
 *
 * One pool may serve several calling threads at once: their runs queue and
 * each runs on all of the pool's threads in turn.
 */
#ifndef OZU_THREAD_POOL_H
#define OZU_THREAD_POOL_H

#include <stdint.h>

#include <ozu/parallel_runner.h>

#if !defined(_WIN32)
#define OZU_THREADS_API __attribute__((visibility("default")))
#else
#define OZU_THREADS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Creates a pool that runs jobs on @p threads threads: the thread that asks
 * for a run and @p threads - 1 workers started here. 0 asks for
 * OZU_ThreadPoolDefaultThreads(). Returns null when the threads cannot be
 * started (nothing is left behind).
 */
OZU_THREADS_API void* OZU_ThreadPoolCreate(uint32_t threads);

/** Stops and joins the workers and frees the pool; null is ignored. No run
 *  may be under way. */
OZU_THREADS_API void OZU_ThreadPoolDestroy(void* pool);

/** The number of threads the pool runs jobs on. */
OZU_THREADS_API uint32_t OZU_ThreadPoolThreads(const void* pool);

/** The processor count of this machine, as the standard library reports it
 *  (at least 1). */
OZU_THREADS_API uint32_t OZU_ThreadPoolDefaultThreads(void);

/** The runner to install with COL_SetParallelRunner(), with the pool as its
 *  opaque value. Returns -1 for a null pool. */
OZU_THREADS_API int32_t OZU_ThreadPoolRunner(void* pool, void* jobOpaque,
                                             OZU_ParallelRunInit init,
                                             OZU_ParallelRunFunction func, uint32_t startJob,
                                             uint32_t endJob);

#ifdef __cplusplus
}
#endif

#endif
