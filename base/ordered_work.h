// A small pool of worker threads for jobs whose results the owner takes in
// the order it submitted them: the batches of the threaded export, the
// pages of Parquet, the members of a compressed file.
//
// The owner (the thread that calls the public members) submits jobs and
// waits for each in its order; while it waits, it runs jobs no worker has
// taken yet, so with no worker at all every job still runs, on the owner.
//
// Workers never let an exception out: a job that throws on a worker (most
// likely std::bad_alloc under a memory limit) is handed back undone, that
// worker ends, and the owner runs the job itself when it waits for it. A
// failure there is the owner's, on its own thread.
//
// Thread safety: a job belongs to the owner until Submit(), then to the
// thread that runs it, then to the owner again once Wait() returns it.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace qorarc {

// The base of a job: its state, which only the queue touches.
struct WorkJob {
  bool done = false;  // guarded by the queue's mutex
  bool undone = false;  // a worker failed on it: the owner runs it again
};

class OrderedWork {
 public:
  // Runs one job on the thread numbered `thread`: 0 the owner, 1 to
  // workers() the workers. A job may run twice (after a worker's failure):
  // it must start from its input each time.
  using RunFn = std::function<void(WorkJob* job, size_t thread)>;

  // Thread stacks: the jobs need little, and the default (the stack limit,
  // often 8 MiB) would make the address space of many threads the first
  // thing a memory limit refuses.
  static constexpr size_t kStackSize = 256 * 1024;

  explicit OrderedWork(RunFn run);
  OrderedWork(const OrderedWork&) = delete;
  OrderedWork& operator=(const OrderedWork&) = delete;
  // Stops and joins the workers; jobs submitted and not waited for are
  // dropped unrun or left as they were.
  ~OrderedWork();

  // Starts up to `n` workers, once; fewer where the system refuses a thread
  // or its memory. Returns how many run.
  size_t Start(size_t n);
  size_t workers() const { return started_; }

  void Submit(WorkJob* job);
  // True when `job` has run (on a worker); never waits.
  bool Ready(WorkJob* job);
  // Returns once `job` has run, running queued jobs on this thread
  // meanwhile. Throws what the job throws on this thread.
  void Wait(WorkJob* job);

 private:
  struct Worker {
    OrderedWork* owner;
    size_t index;
    pthread_t thread;
  };
  static void* Entry(void* worker);
  void RunWorker(size_t index);
  void RunHere(WorkJob* job);

  RunFn run_;
  std::unique_ptr<Worker[]> workers_;
  size_t started_ = 0;

  std::mutex mutex_;
  std::condition_variable work_ready_;
  std::condition_variable job_done_;
  std::deque<WorkJob*> todo_;  // guarded by mutex_
  bool stopping_ = false;      // guarded by mutex_
};

}  // namespace qorarc
