#include "base/ordered_work.h"

#include <signal.h>

#include <new>
#include <utility>

namespace qorarc {

OrderedWork::OrderedWork(RunFn run) : run_(std::move(run)) {}

OrderedWork::~OrderedWork() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  work_ready_.notify_all();
  for (size_t i = 0; i < started_; ++i) pthread_join(workers_[i].thread, nullptr);
}

size_t OrderedWork::Start(size_t n) {
  if (workers_ != nullptr || n == 0) return started_;
  workers_.reset(new (std::nothrow) Worker[n]);
  if (workers_ == nullptr) return 0;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return 0;
  pthread_attr_setstacksize(&attributes, kStackSize);
  // Workers start with every signal blocked, so that a signal always
  // reaches the owner's thread: where it is held back during a commit
  // (app/deferred_signals.h), it must not end the process through another.
  sigset_t all, previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  for (; started_ < n; ++started_) {
    Worker& worker = workers_[started_];
    worker.owner = this;
    worker.index = started_ + 1;
    // Refused (a process or memory limit): done without.
    if (pthread_create(&worker.thread, &attributes, &OrderedWork::Entry, &worker) != 0) break;
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  pthread_attr_destroy(&attributes);
  return started_;
}

void* OrderedWork::Entry(void* worker) {
  Worker* self = static_cast<Worker*>(worker);
  self->owner->RunWorker(self->index);
  return nullptr;
}

void OrderedWork::RunWorker(size_t index) {
  for (;;) {
    WorkJob* job = nullptr;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      work_ready_.wait(lock, [this] { return stopping_ || !todo_.empty(); });
      if (stopping_) return;
      job = todo_.front();
      todo_.pop_front();
    }
    bool failed = false;
    try {
      run_(job, index);
    } catch (...) {
      failed = true;  // nothing here allocates: the job goes back undone
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      job->undone = failed;
      job->done = true;
    }
    job_done_.notify_all();
    // This worker may hold a job's state half-made: it takes no more.
    if (failed) return;
  }
}

void OrderedWork::Submit(WorkJob* job) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    job->done = false;
    job->undone = false;
    todo_.push_back(job);
  }
  work_ready_.notify_one();
}

bool OrderedWork::Ready(WorkJob* job) {
  std::lock_guard<std::mutex> lock(mutex_);
  return job->done && !job->undone;
}

void OrderedWork::RunHere(WorkJob* job) {
  run_(job, 0);
  std::lock_guard<std::mutex> lock(mutex_);
  job->undone = false;
  job->done = true;
}

void OrderedWork::Wait(WorkJob* job) {
  for (;;) {
    // Rather than wait, this thread runs a job no worker has taken.
    WorkJob* waiting = nullptr;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      if (job->done) break;
      if (todo_.empty()) {
        job_done_.wait(lock, [job] { return job->done; });
        break;
      }
      waiting = todo_.front();
      todo_.pop_front();
    }
    RunHere(waiting);
  }
  bool undone;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    undone = job->undone;
  }
  if (undone) RunHere(job);
}

}  // namespace qorarc
