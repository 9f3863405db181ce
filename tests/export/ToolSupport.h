// Running the command-line tools as their users do: through the shell, or in
// a child process of the test's own where the shell can't set the stage (a
// file-size limit, a Ctrl-C while the tool writes).
#pragma once

#include "import/ImportSupport.h"

#include <boost/filesystem.hpp>

#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

// The exit code of a command that ended normally, or -1.
inline int Status(CommandOutput const& output)
{
    return WIFEXITED(output.status) ? WEXITSTATUS(output.status) : -1;
}

// ond3mf-convert with these arguments; its standard output and error.
inline std::string Convert(std::string const& arguments, int& status)
{
    CommandOutput const output = RunCommand(Quoted(OND3MF_CONVERT) + " " + arguments + " 2>&1");
    status = Status(output);
    return output.text;
}

// Every name in a folder, hidden ones too.
inline std::set<std::string> Entries(boost::filesystem::path const& folder)
{
    std::set<std::string> names;
    for (auto const& entry : boost::filesystem::directory_iterator(folder))
    {
        names.insert(entry.path().filename().string());
    }
    return names;
}

inline std::string FileText(boost::filesystem::path const& path)
{
    std::ifstream file(path.string(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A tool started in a child process, its standard output and error into a
// file. `inChild` runs between fork and exec, so it may only make
// async-signal-safe calls (setrlimit, signal).
class ToolProcess
{
public:
    ToolProcess(std::vector<std::string> const& arguments, boost::filesystem::path const& log,
                std::function<void()> const& inChild = {})
        : m_log(log)
    {
        std::vector<char*> argv;
        for (std::string const& argument : arguments)
        {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::string const logName = log.string();
        m_pid = fork();
        if (m_pid == 0)
        {
            int const output = open(logName.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            if (inChild)
            {
                inChild();
            }
            execv(argv[0], argv.data());
            _exit(127);
        }
    }

    // One that a failed assertion left running is stopped.
    ~ToolProcess()
    {
        if (Running())
        {
            Signal(SIGKILL);
            Wait();
        }
    }
    ToolProcess(ToolProcess const&) = delete;
    ToolProcess& operator=(ToolProcess const&) = delete;

    // Whether it is still running.
    bool Running()
    {
        if (m_pid > 0 && !m_ended && waitpid(m_pid, &m_status, WNOHANG) == m_pid)
        {
            m_ended = true;
        }
        return m_pid > 0 && !m_ended;
    }

    void Signal(int number) const { kill(m_pid, number); }

    // Waits for the end; its exit code, or -1 when a signal ended it.
    int Wait()
    {
        if (m_pid > 0 && !m_ended)
        {
            waitpid(m_pid, &m_status, 0);
            m_ended = true;
        }
        return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
    }

    std::string Output() const { return FileText(m_log); }

private:
    boost::filesystem::path m_log;
    pid_t m_pid = -1;
    bool m_ended = false;
    int m_status = 0;
};
