// Animation frames rendered one after the other, or by worker processes that each take the next
// frame not yet taken. The engine's tables and scratch buffers are not shared between threads, so
// the workers are processes: each forks with its own copy of the loaded project.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

namespace quorin_cli {

// Renders frames `first` to `last` through `render` (which writes the frame's files and returns
// the text to show for them) in `jobs` processes. In this process, `started` runs once the workers
// are running (so that it may start threads, which forking must not meet), and `finished` for
// every frame done, in the order they finish, with the text `render` gave. The first frame that
// fails stops the run: the other workers are stopped and run_error "frame N: reason" is thrown.
void run_frames(uint32_t first, uint32_t last, uint32_t jobs, const std::function<std::string(uint32_t)>& render,
                const std::function<void()>& started,
                const std::function<void(uint32_t frame, const std::string& text)>& finished);

// One job per processor.
uint32_t default_jobs();

}  // namespace quorin_cli
