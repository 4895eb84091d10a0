// The threading table of the core stand-in over a small persistent thread pool.
#include "qor_core_threading.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace {

class Pool {
 public:
  static Pool &get() {
    static Pool pool;
    return pool;
  }

  int threads() const { return threads_.load(); }
  void set_threads(int n) { threads_.store(n < 1 ? 1 : n); }

  // Blocks are handed out by an atomic counter; the caller works too.
  void run(int nblocks, void *args, GuxBlockWorker worker) {
    if (nblocks <= 0) return;
    int helpers = std::min(threads(), nblocks) - 1;
    if (helpers <= 0) {
      for (int b = 0; b < nblocks; ++b) worker(b, nullptr, nblocks, args);
      return;
    }
    std::lock_guard<std::mutex> one_job(job_lock_);  // one parallel loop at a time
    ensure_workers(helpers);
    Job job{nblocks, args, worker};
    {
      std::lock_guard<std::mutex> g(m_);
      job_ = &job;
      wanted_ = helpers;
      ++generation_;
    }
    cv_.notify_all();
    work(job);
    std::unique_lock<std::mutex> g(m_);
    done_cv_.wait(g, [&] { return job.finished_helpers == helpers; });
    job_ = nullptr;
  }

 private:
  struct Job {
    int nblocks;
    void *args;
    GuxBlockWorker worker;
    std::atomic<int> next{0};
    int finished_helpers = 0;
    Job(int n, void *a, GuxBlockWorker w) : nblocks(n), args(a), worker(w) {}
  };

  Pool() {
    int n = (int)std::thread::hardware_concurrency();
    if (const char *v = std::getenv("QOR_NUM_THREADS")) n = std::atoi(v);
    set_threads(n);
  }
  ~Pool() {
    {
      std::lock_guard<std::mutex> g(m_);
      stop_ = true;
    }
    cv_.notify_all();
    for (auto &t : workers_) t.join();
  }

  static void work(Job &job) {
    for (int b; (b = job.next.fetch_add(1)) < job.nblocks;) job.worker(b, nullptr, job.nblocks, job.args);
  }

  void ensure_workers(int n) {
    while ((int)workers_.size() < n) workers_.emplace_back([this] { loop(); });
  }

  void loop() {
    unsigned long seen = 0;
    std::unique_lock<std::mutex> g(m_);
    for (;;) {
      cv_.wait(g, [&] { return stop_ || (generation_ != seen && wanted_ > 0); });
      if (stop_) return;
      seen = generation_;
      --wanted_;
      Job *job = job_;
      g.unlock();
      work(*job);
      g.lock();
      ++job->finished_helpers;
      done_cv_.notify_all();
    }
  }

  std::atomic<int> threads_{1};
  std::mutex job_lock_, m_;
  std::condition_variable cv_, done_cv_;
  std::vector<std::thread> workers_;
  Job *job_ = nullptr;
  int wanted_ = 0;
  unsigned long generation_ = 0;
  bool stop_ = false;
};

void parallel_for(int nblocks, void *args, GuxBlockWorker worker) { Pool::get().run(nblocks, args, worker); }
int thread_count() { return Pool::get().threads(); }

const GuxThreadingTable kTable = {nullptr, nullptr, parallel_for, nullptr, thread_count};

}  // namespace

extern "C" const GuxThreadingTable *qor_core_threading(void) { return &kTable; }
extern "C" void qor_core_set_num_threads(int n) { Pool::get().set_threads(n); }
