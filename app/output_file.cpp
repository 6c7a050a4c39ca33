#include "output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "failure.h"

namespace app {
namespace {

// The names that a signal handler may have to remove. They stand in static memory, since a handler
// may not touch the heap, and are handed over by the flag.
constexpr int kSlots = 8;
constexpr size_t kNameBytes = 4096;
struct Slot {
  std::atomic<bool> used{false};
  char name[kNameBytes];
};
Slot g_slots[kSlots];
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void RemoveAndEnd(int signal) {
  for (Slot &slot : g_slots) {
    if (slot.used.load()) unlink(slot.name);
  }
  std::signal(signal, SIG_DFL);
  raise(signal);
}

int TakeSlot(const std::string &name) {
  for (int i = 0; i < kSlots; ++i) {
    if (g_slots[i].used.load() || name.size() >= kNameBytes) continue;
    std::memcpy(g_slots[i].name, name.c_str(), name.size() + 1);
    g_slots[i].used.store(true);
    return i;
  }
  return -1;
}

bool IsRegularOrNew(const std::filesystem::path &path) {
  struct stat status;
  return stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

}  // namespace

void RemoveOutputOnSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    struct sigaction action {};
    action.sa_handler = RemoveAndEnd;
    sigaction(signal, &action, nullptr);
  }
}

OutputFile::OutputFile(const std::filesystem::path &target) : target_(target) {
  std::string opened = target.string();
  if (IsRegularOrNew(target)) {
    // Beside the file that a link leads to, so that the link stays a link.
    std::error_code ignored;
    const auto real = std::filesystem::weakly_canonical(target, ignored);
    if (!ignored) target_ = real;
    temporary_ = opened = fmt::format("{}.part-{}", target_.string(), getpid());
    slot_ = TakeSlot(temporary_);
  }
  descriptor_ = open(opened.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor_ < 0) {
    const int error = errno;
    Discard();
    Fail(error);
  }
}

OutputFile::~OutputFile() {
  Discard();
}

void OutputFile::Fail(int error) const {
  throw Failure(ExitCode::kWrongUsage,
                fmt::format("cannot write {}: {}", target_.string(), std::strerror(error)),
                "check that the folder exists, may be written to and has room");
}

void OutputFile::Discard() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
  if (slot_ >= 0) g_slots[slot_].used.store(false);
  descriptor_ = slot_ = -1;
  temporary_.clear();
}

void OutputFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) Fail(errno);
    text.remove_prefix(static_cast<size_t>(written));
  }
}

void OutputFile::Commit() {
  const int closed = close(descriptor_);
  descriptor_ = -1;
  if (closed != 0) Fail(errno);
  if (!temporary_.empty() && rename(temporary_.c_str(), target_.c_str()) != 0) Fail(errno);
  temporary_.clear();
  Discard();
}

}  // namespace app
