// SPDX-License-Identifier: MIT

#include "common/errors.hpp"
#include "common/output_file.hpp"

#include "temporary_directory.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using lindra::tools::DataError;
using lindra::tools::OutputFile;

struct OutputFileTest : testing::Test {
    lindra::test::TemporaryDirectory directory;
    fs::path file = directory.path() / "file";

    static std::string content(const fs::path &path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    static void write_whole(const fs::path &path, const std::string &text) {
        OutputFile out(path);
        out.write(text);
        out.commit();
    }
    size_t files() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(directory.path()), {}));
    }
    static std::string refusal(const fs::path &path) {
        try {
            const OutputFile out(path);
        } catch (const DataError &error) {
            return error.what();
        }
        return "";
    }
};

} // namespace

TEST_F(OutputFileTest, appears_when_it_is_complete) {
    {
        OutputFile out(file);
        out.write("half");
        EXPECT_FALSE(fs::exists(file));
        out.write(" and half");
        out.commit();
    }
    EXPECT_EQ(content(file), "half and half");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFileTest, without_commit_leaves_what_was_there) {
    directory.write("file", "before");
    {
        OutputFile out(file);
        out.write("half");
    }
    EXPECT_EQ(content(file), "before");
    EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFileTest, follows_a_symbolic_link) {
    directory.write("file", "before");
    fs::create_symlink("file", directory.path() / "link");
    write_whole(directory.path() / "link", "after");
    EXPECT_TRUE(fs::is_symlink(directory.path() / "link"));
    EXPECT_EQ(content(file), "after");
}

TEST_F(OutputFileTest, follows_a_link_to_what_is_not_there_yet) {
    fs::create_directory(directory.path() / "there");
    fs::create_symlink("there/file", directory.path() / "link");
    fs::create_symlink("link", directory.path() / "other");
    write_whole(directory.path() / "other", "after");
    EXPECT_TRUE(fs::is_symlink(directory.path() / "link"));
    EXPECT_EQ(content(directory.path() / "there/file"), "after");
}

TEST_F(OutputFileTest, writes_to_a_pipe_by_its_descriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    write_whole("/dev/fd/" + std::to_string(ends[1]), "through");
    close(ends[1]);
    char got[8] = {};
    EXPECT_EQ(read(ends[0], got, sizeof got - 1), 7);
    close(ends[0]);
    EXPECT_STREQ(got, "through");
}

TEST_F(OutputFileTest, refuses_links_that_lead_round) {
    const fs::path link = directory.path() / "link";
    fs::create_symlink("link", link);
    EXPECT_EQ(refusal(link), link.string() + " cannot be created: Too many levels of symbolic links");
    EXPECT_TRUE(fs::is_symlink(link));
}

TEST_F(OutputFileTest, file_that_is_replaced_leaves_its_rights) {
    directory.write("file", "before");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    write_whole(file, "after");
    EXPECT_EQ(content(file), "after");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(OutputFileTest, writes_to_a_fifo_as_it_is) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    std::string got;
    std::thread reader([&] { got = content(file); });
    write_whole(file, "through");
    reader.join();
    EXPECT_EQ(got, "through");
    EXPECT_TRUE(fs::is_fifo(file));
}

TEST_F(OutputFileTest, directory_and_missing_directory_are_refused_with_the_next_step) {
    EXPECT_EQ(refusal(directory.path()), directory.path().string() + " is a directory; name a file in it");
    const fs::path missing = directory.path() / "missing";
    EXPECT_EQ(refusal(missing / "file"),
              (missing / "file").string() +
                  " cannot be created: No such file or directory; make the directory " + missing.string() +
                  " first");
}

TEST_F(OutputFileTest, leaves_nothing_when_the_process_is_told_to_end) {
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        const pid_t child = fork();
        if (child == 0) {
            OutputFile out(file);
            out.write("half");
            raise(number);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), number);
        EXPECT_EQ(files(), 0U);
    }
}
