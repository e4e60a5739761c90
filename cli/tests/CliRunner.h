#pragma once
// Runs the built orvane-cli with arguments and collects its exit status, stdout and stderr.

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::testing {

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string shellQuote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

inline std::string slurp(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline CliResult runCli(const std::vector<std::string>& args, const std::filesystem::path& scratch) {
    std::string command = shellQuote(ORVANE_CLI_PATH);
    for (const auto& a : args)
        command += " " + shellQuote(a);
    const auto outPath = scratch / "stdout.txt";
    const auto errPath = scratch / "stderr.txt";
    command += " >" + shellQuote(outPath.string()) + " 2>" + shellQuote(errPath.string());
    const int raw = std::system(command.c_str());
    CliResult r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = slurp(outPath);
    r.err = slurp(errPath);
    return r;
}

} // namespace orvane::testing
