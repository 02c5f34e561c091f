// The program around the statements: modes, endings, files.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <istream>
#include <ostream>
#include <thread>

#include <fcntl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/descriptor_buffer.h"
#include "program.h"
#include "quarn/core/s_pool.h"
#include "quarn/interpreter/limits/limits.h"

namespace {

TEST(Console, OnlyTheTwoWordsEndIt) {
    const Folder folder;
    EXPECT_EQ(RunProgram(folder, "q\n1\n").output, "> ");
    EXPECT_EQ(RunProgram(folder, "exit\n1\n").output, "> ");
    EXPECT_EQ(RunProgram(folder, "Q\nquit\n q\nexit;\nq\n").output,
              "> \tDefining Symbol : Q\n> \tDefining Symbol : quit\n> \tDefining Symbol : q\n"
              "> \tDefining Symbol : exit\n> ");
}

TEST(Console, EmptyLinesPrintThePromptAndBlankOnesAnError) {
    EXPECT_EQ(RunProgram(Folder(), "\n \nq\n").output, "> > \tError : Empty symbol\n> ");
}

TEST(Console, PromptComesBackWhenTheInputHasEnded) {
    const Folder folder;
    EXPECT_EQ(RunProgram(folder, "1\n", "| head -c 25").output, "> \tScalar : 1\n> > > > > >");
    EXPECT_LT(RunProgram(folder, "", "", "timeout 0.3").output.size(), 200u); // the pauses grow
    // A last line without a line end is kept.
    EXPECT_EQ(RunProgram(folder, "1", "| head -c 42").output, "> \tScalar : 1\n> \tScalar : 1\n> \tScalar : 1\n");
}

TEST(Console, ScriptsRunToTheirEndWithoutPromptsOrQuestions) {
    const Folder folder;
    folder.Write("script", "x = 1\n\nexit\nq\n~\n?x\n2");
    EXPECT_EQ(RunProgram(folder, "", "script ignored words").output,
              "\tDefining Scalar : x = 1\n\tDefining Symbol : exit\n\tDefining Symbol : q\n\tAll symbols erased\n"
              "\t'x' is undefined\n\tScalar : 2\n");
}

TEST(Console, LinesMayHaveOtherLineEnds) {
    const Folder folder;
    folder.Write("script", "x = 1\r\n\r\n?x\r\n// x\r\n");
    EXPECT_EQ(RunProgram(folder, "", "script").output, "\tDefining Scalar : x = 1\n\tScalar : x = 1\n");
    EXPECT_EQ(RunProgram(folder, "x = 1\r\n\r\n~\r\ny\r\nq\r\n").output,
              "> \tDefining Scalar : x = 1\n> > \tWarning : This command will erase all symbols.\n"
              "\t          Are you sure ? ([y|Enter]/n) \tAll symbols erased\n> ");
}

TEST(Console, LinesOfScriptsMayHaveAnyLength) {
    const Folder folder;
    // Scripts are read in blocks of about 8 KiB: line ends before, at and behind the end of one, or of the second.
    for (const std::size_t blocks : {1u, 2u}) {
        for (std::size_t length = blocks * 8192 - 4; length <= blocks * 8192 + 2; ++length) {
            folder.Write("script", std::string(length - 1, '0') + "7\n2\n\n3");
            EXPECT_EQ(RunProgram(folder, "", "script").output, "\tScalar : 7\n\tScalar : 2\n\tScalar : 3\n") << length;
        }
    }
}

TEST(Console, ReadOnlyScriptsRun) {
    const Folder folder;
    std::filesystem::permissions(folder.Write("script", "1\n"), std::filesystem::perms::owner_read);
    EXPECT_EQ(RunProgram(folder, "", "script").output, "\tScalar : 1\n");
    EXPECT_EQ(RunProgram(folder, "2\n", "/dev/stdin").output, "\tScalar : 2\n");
    EXPECT_EQ(RunProgram(folder, "", "/dev/stdin", "printf '3\\n' |").output, "\tScalar : 3\n");
}

TEST(Console, AScriptCanNameItsInterpreter) {
    const Folder folder;
    std::filesystem::permissions(folder.Write("double", "#!" ORBEL_PROGRAM "\n21*2\n"),
                                 std::filesystem::perms::owner_all);
    EXPECT_EQ(RunProgram(folder, "", "", "./double; true").output,
              "\tError : Unable to parse expression '#', no operator found\n\tScalar : 42\n");
}

TEST(Console, WhatIsNoScriptGivesTheInteractiveMode) {
    const Folder folder;
    EXPECT_EQ(RunProgram(folder, "q\n", "missing").output, "> ");
    EXPECT_EQ(RunProgram(folder, "q\n", "''").output, "> ");
    EXPECT_EQ(RunProgram(folder, "q\n", ".").output, "> ");
}

TEST(Console, EveryStartEmptiesTheLog) {
    const Folder folder;
    folder.Write("orbel.log", "old\n");
    EXPECT_EQ(RunProgram(folder, "1\nq\n").status, 0);
    EXPECT_EQ(folder.Read("orbel.log"), "");
    folder.Write("orbel.log", "old\n");
    folder.Write("script", "1\n");
    RunProgram(folder, "", "script");
    EXPECT_EQ(folder.Read("orbel.log"), "");
    std::filesystem::remove(folder.Path("orbel.log"));
    RunProgram(folder, "q\n", "", "umask 022;");
    EXPECT_EQ(std::filesystem::status(folder.Path("orbel.log")).permissions(), std::filesystem::perms{0644});
}

TEST(Console, ALogThatCannotBeMadeCostsNothing) {
    const Folder folder;
    std::filesystem::create_directory(folder.Path("orbel.log"));
    EXPECT_EQ(RunProgram(folder, "1\nq\n").output, "> \tScalar : 1\n> ");
}

TEST(Console, ScriptsStopWhenTheOutputCannotBeWritten) {
    const Folder folder;
    std::string script;
    for (int i = 0; i < 100'000; ++i) script += "1+1\n";
    folder.Write("script", script);
    const Outcome full = RunProgram(folder, "", "script > /dev/full");
    EXPECT_EQ(full.errors, "orbel: the output could not be written\n");
    EXPECT_EQ(full.status, 0);
    const Outcome closed = RunProgram(folder, "", "script | head -c 1");
    EXPECT_EQ(closed.errors, "orbel: the output could not be written\n");
}

TEST(Console, InteractiveRunsEndWithTheirOutput) {
    for (const char* output : {"> /dev/full", ">&-", "| head -c 25"}) {
        const Outcome lost = RunProgram(Folder(), "1\n", output, "exec timeout 20");
        EXPECT_EQ(lost.errors, "orbel: the output could not be written\n") << output;
        EXPECT_EQ(lost.status, 0) << output;
    }
}

TEST(Console, ClosedDescriptorsAreNotTakenByFiles) {
    const Folder folder;
    std::string script;
    for (int i = 0; i < 2'000; ++i) script += "1+1\n"; // what is shown does not fit into the buffer
    folder.Write("script", script);
    for (const char* closed : {"<&- >&-", ">&-", "<&- >&- 2>&-"}) {
        EXPECT_EQ(RunProgram(folder, "", std::string("script ") + closed).status, 0);
        EXPECT_EQ(folder.Read("script"), script) << closed;
        EXPECT_EQ(folder.Read("orbel.log"), "") << closed;
    }
}

TEST(Console, ALogThatIsSomebodyElsesIsLeftAlone) {
    const std::string script = "1+1\n";
    const std::pair<const char*, const char*> rows[] = {
        {"mv other orbel.log;", "./orbel.log"},       // the script
        {"mv other orbel.log;", "other2 <orbel.log"}, // what is read
        {"mv other orbel.log;", "stdin >>orbel.log"}, // what is written
        {"ln -s other orbel.log;", "other2"},         {"ln other orbel.log;", "other2"},
    };
    for (const auto& [before, behind] : rows) {
        const Folder folder;
        folder.Write("other", script);
        folder.Write("other2", script);
        EXPECT_EQ(RunProgram(folder, "", behind, before).status, 0);
        EXPECT_TRUE(folder.Read("orbel.log").starts_with(script)) << before << behind;
    }
}

TEST(Console, AByteOrderMarkIsSkippedAtTheBegin) {
    const Folder folder;
    folder.Write("script", "\xEF\xBB\xBFx = 1\n\xEF\xBB\xBFx\n");
    EXPECT_EQ(RunProgram(folder, "", "script").output,
              "\tDefining Scalar : x = 1\n\tError : Unable to parse expression '\xEF\xBB\xBFx', no operator found\n");
    folder.Write("script", "\xEF\xBB\xBF");
    EXPECT_EQ(RunProgram(folder, "", "script").output, "");
}

TEST(Console, StreamsGoOnAfterInterruptionsAndFailWhenNobodyReads) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    struct sigaction before {};
    struct sigaction noted {};
    noted.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGALRM, &noted, &before);
    const auto interruptEvery = [](suseconds_t time) {
        const itimerval timer{{0, time}, {0, time}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    };
    const std::string text(1'000'000, 'x');
    std::string seen;
    std::thread reader([&] {
        sigset_t others;
        sigfillset(&others);
        pthread_sigmask(SIG_BLOCK, &others, nullptr);
        Quarn::DescriptorBuffer buffer(ends[0]);
        for (char c = 0; buffer.sgetn(&c, 1) == 1; seen += c)
            if (seen.size() % 100'000 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    });
    interruptEvery(1'000);
    Quarn::DescriptorBuffer buffer(ends[1]);
    std::ostream output(&buffer);
    EXPECT_TRUE(output << "<" << text << ">" << std::flush);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    EXPECT_TRUE(output << text << std::flush);
    close(ends[1]);
    interruptEvery(0);
    reader.join();
    EXPECT_EQ(seen, "<" + text + ">" + text);
    sigaction(SIGALRM, &before, nullptr);
    close(ends[0]);

    ASSERT_EQ(pipe(ends.data()), 0);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(Quarn::WriteAll(ends[1], "1\n"));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        close(ends[1]);
    });
    Quarn::DescriptorBuffer waiting(ends[0]);
    std::istream input(&waiting);
    std::string line;
    EXPECT_TRUE(std::getline(input, line));
    EXPECT_EQ(line, "1");
    EXPECT_FALSE(std::getline(input, line));
    writer.join();
    close(ends[0]);

    Quarn::DescriptorBuffer full(open("/dev/full", O_WRONLY));
    for (const std::string_view part : {std::string_view("short"), std::string_view(text)}) {
        std::ostream lost(&full);
        for (int i = 0; i < 10'000 && lost; ++i) lost << part;
        EXPECT_FALSE(lost) << part.size();
    }
}

TEST(Console, StreamsThatDoNotWaitLoseNothing) {
    std::array<int, 2> output{};
    std::array<int, 2> input{};
    ASSERT_EQ(pipe(output.data()) + pipe(input.data()), 0);
    const Folder folder;
    const pid_t process = fork();
    if (process == 0) {
        for (const int descriptor : {output[1], input[0]}) fcntl(descriptor, F_SETFL, O_NONBLOCK);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        for (const int descriptor : {output[0], output[1], input[0], input[1]}) close(descriptor);
        if (chdir(folder.Path("").c_str()) == 0) execl(ORBEL_PROGRAM, ORBEL_PROGRAM, nullptr);
        _exit(127);
    }
    close(output[1]);
    close(input[0]);
    std::string lines;
    for (int i = 0; i < 9'000; ++i) lines += "12345678\n";
    const std::string end = "q\n";
    EXPECT_EQ(write(input[1], lines.data(), 54'000), 54'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // it has read all, and filled the pipe
    const std::size_t size = 6'000 * std::string("> \tScalar : 12345678\n").size() + 2;
    std::string shown;
    std::array<char, 4096> buffer;
    ssize_t count = 0;
    bool isAllSent = false;
    while ((count = read(output[0], buffer.data(), buffer.size())) > 0) {
        shown.append(buffer.data(), static_cast<std::size_t>(count));
        if (shown.size() >= size && !std::exchange(isAllSent, true)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it waits for input now
            EXPECT_EQ(write(input[1], end.data(), end.size()), 2);
        }
    }
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(shown.size(), size);
    close(output[0]);
    close(input[1]);
}

TEST(Console, PipesAreOpenedOnceAndNeverAsLog) {
    const Folder folder;
    EXPECT_EQ(
        RunProgram(folder, "", "fifo", "mkfifo fifo orbel.log; seq 30000 > fifo & timeout 20").output.substr(0, 24),
        "\tScalar : 1\n\tScalar : 2\n");
}

TEST(Console, LinesThatDoNotFitIntoTheMemoryAreNotCarriedOut) {
    if (!Quarn::s_pools_keep) GTEST_SKIP() << "the address sanitizer takes more memory than any limit";
    const Folder folder;
    std::string script = "x = 1\n1";
    for (int i = 0; i < 40'000'000; ++i) script += "+1";
    folder.Write("script", script + "\n?x");
    EXPECT_EQ(RunProgram(folder, "", "script", "ulimit -v 60000;").output,
              "\tDefining Scalar : x = 1\n\tError : Out of memory\n\tScalar : x = 1\n");
    EXPECT_EQ(RunProgram(folder, script + "\n?x\nq\n", "", "ulimit -v 60000;").output,
              "> \tDefining Scalar : x = 1\n> \tError : Out of memory\n> \tScalar : x = 1\n> ");
}

TEST(Console, ASmallStackAllowsLessNesting) {
    const Folder folder;
    folder.Write("script", std::string(1000, '<') + "1" + std::string(1000, '>') + "\n1+1\n");
    const auto startOfOutput = [&](const char* limit) {
        return RunProgram(folder, "", "script", limit).output.substr(0, 12);
    };
    EXPECT_EQ(startOfOutput("ulimit -S -s 512;"), "\tVector : <<"); // the soft limit is raised
    const std::string output = RunProgram(folder, "", "script", "ulimit -s 512;").output;
    const std::size_t levels = (512 - 128) * 1024 / Quarn::Limits::StackPerLevel; // the rest is for everything else
    EXPECT_EQ(output, "\tError : Nested more than " + std::to_string(levels) + " levels deep\n\tScalar : 2\n");
}

/// Runs a script of the project in the folder, with its output for standard error.
Outcome RunScriptOfProject(const Folder& folder, const std::string& script) {
    const std::string command =
        "cd '" + folder.Path("") + "' && PATH=\"$PWD:$PATH\" '" PROJECT "/'" + script + " > stdout 2> stderr";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.Read("stdout"), folder.Read("stderr")};
}

TEST(Commands, RunStartsNothingWithoutTheNamedFile) {
    const Folder folder;
    for (const char* name : {"missing", "."}) {
        const Outcome refused = RunScriptOfProject(folder, std::string("run ") + name);
        EXPECT_EQ(refused.errors, "There is no file '" + std::string(name) + "' that can be read.\n");
        EXPECT_EQ(refused.status, 1);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path("orbel.log")));
}

TEST(Commands, WhoMayNotInstallIsToldWhatToAskFor) {
    const Folder folder;
    const auto command = [&](const char* name, const char* body) {
        std::filesystem::permissions(folder.Write(name, std::string("#!/bin/sh\n") + body),
                                     std::filesystem::perms::owner_all);
    };
    command("id", "echo 1000");
    command("sudo", "exit 1");
    command("dpkg-query", "[ \"$4\" = there ] && echo install ok installed");
    command("apt-get", "exit 0");
    const Outcome refused = RunScriptOfProject(folder, "scripts/install-packages there missing1 missing2 < /dev/null");
    EXPECT_EQ(refused.errors, "Packages are missing that only an administrator can install. Please ask for:\n"
                              "  apt-get install --no-install-recommends missing1 missing2\n");
    EXPECT_EQ(refused.status, 1);
    command("id", "echo 0");
    command("apt-get", "echo much; [ \"$1\" = update ]");
    EXPECT_EQ(RunScriptOfProject(folder, "scripts/install-packages missing").errors,
              "Installing: missing\nmuch\nmuch\n"); // what it says is shown as it has failed
    command("apt-get", "echo much");
    EXPECT_EQ(RunScriptOfProject(folder, "scripts/install-packages missing").errors, "Installing: missing\n");
}

} // namespace
