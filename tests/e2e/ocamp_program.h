// Runs ocamp as its users do, and gives each test a node of its own. Knows nothing of what the commands answer.
#pragma once

#include "support/files.h"
#include "support/program.h"
#include "support/same_text.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace e2e {

using support::Outcome;
using support::read_file;
using support::write_file;

/// Runs ocamp with these arguments and `input` as standard input, and waits for its end. `redirected`: descriptors that
/// lead into a file, or are closed (no file).
Outcome run_ocamp(const std::vector<std::string> &arguments, const std::string &input = "",
                  const std::map<int, std::filesystem::path> &redirected = {});

/// The same with `output`, such as /dev/full, as standard output; with none when it is empty.
Outcome run_ocamp_onto(const std::filesystem::path &output, const std::vector<std::string> &arguments,
                       const std::string &input = "");

/// Starts ocamp with the file as standard input and its standard output into another file. Gives the process number;
/// the caller waits for it.
int start_ocamp(const std::vector<std::string> &arguments, const std::filesystem::path &input,
                const std::filesystem::path &output);

/// Text of a file in expected/.
std::string expected(const std::string &name);

/// A test with a fresh node made from the example.
class NodeTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string node() const { return (folder() / "node").string(); }
    const std::filesystem::path &folder() const { return folder_->path(); }
    /// The node's database, byte for byte.
    std::string data() const { return read_file(folder() / "node" / "node.db"); }

    /// ocamp COMMAND... --node NODE ARGUMENTS...
    Outcome ocamp(const std::vector<std::string> &command, const std::vector<std::string> &arguments = {},
                  const std::string &input = "") const;
    Outcome get(const std::vector<std::string> &arguments, const std::string &input = "") const {
        return ocamp({"get"}, arguments, input);
    }

  private:
    std::optional<support::TemporaryFolder> folder_;
};

} // namespace e2e
