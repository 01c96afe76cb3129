// Runs the famoflas command as scripts do: in a folder of the test's own,
// stdin from a text, stdout and stderr kept apart.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace clitest {

namespace fs = std::filesystem;

inline const std::string kCommand = FAMOFLAS_BINARY_DIR "/bin/famoflas";

struct Outcome {
  int status = -1;
  std::string out, err;
  nlohmann::json result() const { return nlohmann::json::parse(out); }
};

class CommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("famoflas_cli_" + std::to_string(::getpid()) + "_" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  Outcome run(const std::vector<std::string> &args, const std::string &input = "",
              const std::string &command = kCommand) const {
    std::ofstream(dir / "stdin") << input;
    std::string line = "cd " + quote(dir.string()) + " && " + quote(command);
    for (const std::string &a : args) line += " " + quote(a);
    const int raw = std::system((line + " <stdin >stdout 2>stderr").c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(dir / "stdout"), slurp(dir / "stderr")};
  }

  fs::path dir;

 private:
  static std::string quote(const std::string &arg) {
    std::string out = "'";
    for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
  }
  static std::string slurp(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
};

}  // namespace clitest
