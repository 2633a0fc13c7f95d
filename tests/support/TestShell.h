// TestShell.h: programs, run as a user runs them.
#pragma once

#include "TempFolder.h"
#include <cstdlib>
#include <gtest/gtest.h>

struct ShellResult {
    int code;           // the exit status
    std::string output; // both streams
};

/// Runs a command line of the shell in a folder.
inline ShellResult Shell(TempFolder const& folder, std::string const& command) {
    std::string const output = folder.Path(".output");
    int const status = std::system(("cd '" + folder.Path() + "' && { " + command + "; } >" + output + " 2>&1").c_str());
    return {status >= 0 ? status >> 8 : status, TempFolder::Read(output)};
}
