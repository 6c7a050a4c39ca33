// Runs the program as its users do, in a folder of the test's own.
#ifndef VOMO_TESTS_APP_PROGRAM_H
#define VOMO_TESTS_APP_PROGRAM_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace app_test {

namespace fs = std::filesystem;

struct Outcome {
  int exit_code;  // -signal if it ended by one
  std::string out, err;
};

inline std::string Contents(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// Turns this process into the program.
[[noreturn]] inline void Execute(const std::vector<std::string> &arguments) {
  std::vector<char *> argv = {const_cast<char *>("vomo")};
  for (const std::string &argument : arguments) {
    argv.push_back(const_cast<char *>(argument.c_str()));
  }
  argv.push_back(nullptr);
  execv(VOMO_BINARY, argv.data());
  _exit(127);
}

class Program : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = fs::path(testing::TempDir()) /
              ("vomo_" + std::to_string(getpid()) + "_" +
               testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string Path(const std::string &name) const { return (folder_ / name).string(); }

  pid_t Start(const std::vector<std::string> &arguments) {
    const pid_t child = fork();
    if (child != 0) return child;
    for (const auto &[descriptor, name] : {std::pair{1, "stdout"}, std::pair{2, "stderr"}}) {
      dup2(open(Path(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
    }
    Execute(arguments);
  }

  Outcome Finish(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    Outcome outcome{code, Contents(Path("stdout")), Contents(Path("stderr"))};
    fs::remove(Path("stdout"));
    fs::remove(Path("stderr"));
    return outcome;
  }

  Outcome Run(const std::vector<std::string> &arguments) { return Finish(Start(arguments)); }

  std::vector<std::string> FilesLeft() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // A capture of 30,000 UI with 1 ps of random jitter, a little above the fewest that are measured.
  void MakeCapture(const std::string &name, std::vector<std::string> more = {},
                   const std::string &pattern = "prbs9") {
    std::vector<std::string> arguments = {
        "synth", Path(name),         "--ui", "30000", "--rj-rms", "1e-12", "--pattern",
        pattern, "--samples-per-ui", "10"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  }

  fs::path folder_;
};

}  // namespace app_test

#endif
