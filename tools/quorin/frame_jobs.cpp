#include "frame_jobs.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <vector>

#include "cli.h"

namespace quorin_cli {

uint32_t default_jobs() {
  long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n > 0 ? static_cast<uint32_t>(n) : 1;
}

namespace {

std::string failure_text(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown failure";
  }
}

std::string frame_failure(uint32_t frame, const std::string& reason) {
  return "frame " + std::to_string(frame) + ": " + reason;
}

// What a worker tells the parent, one message per event on its own pipe: a header, then `length`
// bytes of text (the frame's output, or the reason it failed).
enum message_kind : uint32_t { frame_started, frame_done, frame_failed };
struct message_header {
  uint32_t frame;
  uint32_t kind;
  uint32_t length;
};

// Frames are handed out through a counter shared by all workers.
struct shared_queue {
  std::atomic<uint32_t> next;
  std::atomic<uint32_t> stop;
};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "the counter must work across processes");

bool write_all(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool send(int fd, uint32_t frame, message_kind kind, const std::string& text) {
  message_header h{frame, kind, static_cast<uint32_t>(text.size())};
  return write_all(fd, reinterpret_cast<const char*>(&h), sizeof h) && write_all(fd, text.data(), text.size());
}

[[noreturn]] void worker(int fd, shared_queue* queue, uint32_t first, uint32_t last,
                         const std::function<std::string(uint32_t)>& render) {
  for (;;) {
    if (queue->stop.load()) break;
    const uint32_t frame = first + queue->next.fetch_add(1);
    if (frame > last || frame < first) break;
    send(fd, frame, frame_started, {});
    try {
      const std::string text = render(frame);
      if (!send(fd, frame, frame_done, text)) break;
    } catch (...) {
      queue->stop.store(1);
      send(fd, frame, frame_failed, failure_text(std::current_exception()));
      ::_exit(1);
    }
  }
  ::_exit(0);
}

struct worker_state {
  pid_t pid = -1;
  int fd = -1;
  std::string pending;           // bytes read that do not yet make a whole message
  bool busy = false;             // started a frame not yet reported done
  uint32_t frame = 0;
};

std::string exit_reason(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
  if (WIFSIGNALED(status)) return std::string("the worker rendering it was stopped by signal ") + strsignal(WTERMSIG(status));
  return "the worker rendering it ended with status " + std::to_string(WEXITSTATUS(status));
}

void run_in_workers(uint32_t first, uint32_t last, uint32_t jobs, const std::function<std::string(uint32_t)>& render,
                    const std::function<void()>& started,
                    const std::function<void(uint32_t, const std::string&)>& finished) {
  void* mem = mmap(nullptr, sizeof(shared_queue), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (mem == MAP_FAILED) throw run_error(std::string("cannot share memory with workers: ") + std::strerror(errno));
  shared_queue* queue = new (mem) shared_queue{{0}, {0}};
  std::fflush(nullptr);  // nothing buffered may be written twice by the workers

  std::vector<worker_state> workers(jobs);
  for (worker_state& w : workers) {
    int fds[2];
    if (pipe(fds) != 0) break;
    w.pid = fork();
    if (w.pid == 0) {
      ::close(fds[0]);
      for (const worker_state& other : workers)
        if (other.fd >= 0) ::close(other.fd);
      worker(fds[1], queue, first, last, render);
    }
    ::close(fds[1]);
    if (w.pid < 0) {
      ::close(fds[0]);
      break;
    }
    w.fd = fds[0];
  }

  std::string failure;
  auto stop_all = [&](const std::string& why) {
    if (failure.empty()) failure = why;
    queue->stop.store(1);
    for (worker_state& w : workers)
      if (w.fd >= 0) ::kill(w.pid, SIGTERM);
  };

  std::size_t open = 0;
  for (const worker_state& w : workers) open += w.fd >= 0;
  if (open == 0) {
    munmap(mem, sizeof(shared_queue));
    throw run_error(std::string("cannot start worker processes: ") + std::strerror(errno));
  }
  started();
  while (open > 0) {
    std::vector<pollfd> fds;
    std::vector<worker_state*> owners;
    for (worker_state& w : workers)
      if (w.fd >= 0) fds.push_back({w.fd, POLLIN, 0}), owners.push_back(&w);
    if (poll(fds.data(), fds.size(), -1) < 0) {
      if (errno == EINTR) continue;
      stop_all(std::string("lost the workers: ") + std::strerror(errno));
    }
    for (std::size_t i = 0; i < fds.size(); ++i) {
      if (!fds[i].revents) continue;
      worker_state& w = *owners[i];
      char buf[65536];
      ssize_t n = ::read(w.fd, buf, sizeof buf);
      if (n < 0 && errno == EINTR) continue;
      if (n > 0) {
        w.pending.append(buf, static_cast<std::size_t>(n));
        message_header h;
        while (w.pending.size() >= sizeof h) {
          std::memcpy(&h, w.pending.data(), sizeof h);
          if (w.pending.size() < sizeof h + h.length) break;
          std::string text = w.pending.substr(sizeof h, h.length);
          w.pending.erase(0, sizeof h + h.length);
          w.busy = h.kind == frame_started;
          w.frame = h.frame;
          if (h.kind == frame_done && failure.empty()) finished(h.frame, text);
          if (h.kind == frame_failed) stop_all(frame_failure(h.frame, text));
        }
        continue;
      }
      // The worker has closed its end: it is done, or it died in the middle of a frame.
      ::close(w.fd);
      w.fd = -1;
      --open;
      std::string reason = exit_reason(w.pid);
      if (w.busy && failure.empty()) stop_all(frame_failure(w.frame, reason));
      w.pid = -1;
    }
  }
  munmap(mem, sizeof(shared_queue));
  if (!failure.empty()) throw run_error(failure);
}

}  // namespace

void run_frames(uint32_t first, uint32_t last, uint32_t jobs, const std::function<std::string(uint32_t)>& render,
                const std::function<void()>& started,
                const std::function<void(uint32_t, const std::string&)>& finished) {
  jobs = std::min<uint64_t>(jobs, uint64_t(last) - first + 1);
  if (jobs > 1) return run_in_workers(first, last, jobs, render, started, finished);
  started();
  for (uint32_t frame = first;; ++frame) {
    std::string text;
    try {
      text = render(frame);
    } catch (...) {
      throw run_error(frame_failure(frame, failure_text(std::current_exception())));
    }
    finished(frame, text);
    if (frame == last) break;
  }
}

}  // namespace quorin_cli
