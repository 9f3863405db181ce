// What the tests of ond3mf-project share: running it and project_oracle.py
// through the shell, scratch names, and the real files beside the checkout.
#pragma once

#include "support/Command.h"
#include "support/PackageTestSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "common/StringConversion.h"

#include <boost/filesystem.hpp>

#include <string>

#include <sys/wait.h>

// A word for the shell, quotes and all.
inline std::string Shell(std::string const& text)
{
    std::string quoted = "'";
    for (char const c : text)
    {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

inline std::string Utf8(std::wstring const& path)
{
    return StringConversion::ConvertNativeToUTF8(path);
}

struct Ran
{
    int status = -1;
    // Standard output and error together.
    std::string output;
};

// ond3mf-project with these arguments (shell words); its exit code, or -1
// when a signal ended it.
inline Ran Project(std::string const& arguments)
{
    CommandOutput const output = RunCommand(Shell(OND3MF_PROJECT) + " " + arguments + " 2>&1");
    return {WIFEXITED(output.status) ? WEXITSTATUS(output.status) : -1, output.text};
}

// The command that runs the oracle with these arguments (shell words), its
// messages on standard output.
inline std::string Oracle(std::string const& arguments)
{
    return "python3 " + Shell(FORMAT3MF_SOURCE_DIR "/tests/tools/project_oracle.py") + " " + arguments +
           " 2>&1";
}

// A real file beside the checkout, as a UTF-8 path: without it the test
// skips with a message, and fails under CI=true.
#define REAL_FILE(variable, name)                                                                            \
    std::string const variable = std::string(FORMAT3MF_TESTDATA) + "/realworld/" + (name);                   \
    if (!boost::filesystem::exists(variable))                                                                \
    {                                                                                                        \
        SKIP_OR_FAIL_MISSING((name) << " beside the checkout (../shared/testdata/realworld)");               \
    }
