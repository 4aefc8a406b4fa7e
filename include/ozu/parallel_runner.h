/**
 * @file parallel_runner.h
 * How the colour module hands parallel work to its caller.
 *
 * The library starts no threads of its own. An entry whose work goes line by
 * line cuts it into independent jobs (bands of lines) and asks a runner,
 * installed by the application with COL_SetParallelRunner(), to run them.
 * With no runner installed every job runs in the calling thread, in order.
 * The results are the same bits whichever runner runs the jobs, in whatever
 * order and on however many threads.
 *
 * libozu_threads (ozu/thread_pool.h) ships a ready runner: a pool of
 * std::thread workers that the caller creates and destroys.
 */
#ifndef OZU_PARALLEL_RUNNER_H
#define OZU_PARALLEL_RUNNER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Prepares a run of jobs on @p threads threads (at least 1): the library
 * sizes per-thread working memory here. Returns 0 to go on; anything else
 * stops the run before any job starts, and the runner returns that value.
 */
typedef int32_t (*OZU_ParallelRunInit)(void* jobOpaque, uint32_t threads);

/**
 * Runs job @p job on thread @p thread (0 <= thread < the count given to init).
 * Jobs never fail through this call: a job that cannot do its work records
 * that in @p jobOpaque, and the library reports it after the run.
 */
typedef void (*OZU_ParallelRunFunction)(void* jobOpaque, uint32_t job, uint32_t thread);

/**
 * A runner: calls init(jobOpaque, n) once, then, if it returned 0,
 * func(jobOpaque, i, t) exactly once for every i in [startJob, endJob), in any
 * order and on any of its n threads, never two at once with the same t; it
 * returns when every call has finished. Returns 0 when all jobs ran, init's
 * value when init refused, or another non-zero value when the runner could not
 * run them all (the library then fails the request with COL_ERR_RUNNER).
 * The runner may be called from several threads at once if the application
 * installs it on several threads.
 */
typedef int32_t (*OZU_ParallelRunner)(void* runnerOpaque, void* jobOpaque,
                                      OZU_ParallelRunInit init, OZU_ParallelRunFunction func,
                                      uint32_t startJob, uint32_t endJob);

#ifdef __cplusplus
}
#endif

#endif
