// orvane-cli validate: the pre-flight of a document's disc, or of its vinyl programme.

#include "cli/Commands.h"
#include "delivery/CDTextEncoder.h"
#include "model/ProjectValidator.h"
#include "model/ValidationIssue.h"
#include "model/VinylValidator.h"
#include "workspace/ProjectStore.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli validate PROJECT [--vinyl] [--json]

Opens a project document and runs the pre-flight over it: what a pressing plant would refuse
(errors) or question (warnings), and what is merely missing (info). Prints the report's title,
then one line per issue with its severity, in the order the checks ran.

  --vinyl  check the project's vinyl programme instead of the disc
  --json   one JSON object {"issues": [{"severity": "error|warning|info", "message": ...}]}

exit status: 0 no errors (warnings and info allowed), 1 an error was found or the document could
not be read, 2 usage error
)";

std::vector<ValidationIssue> discIssues(const CDProject& project) {
    return ProjectValidator::validate(project, DDPWriter::cdTextBlockPackCounts(project));
}

void printIssues(const std::vector<ValidationIssue>& issues, bool vinyl, bool json) {
    if (json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const auto& issue : issues)
            list.push_back({{"severity", severityName(issue.severity)}, {"message", issue.message}});
        std::cout << nlohmann::ordered_json{{"issues", list}}.dump(2) << '\n';
        return;
    }
    const ValidationReport report =
        vinyl ? ProjectValidator::report(issues, VinylValidator::kValidTitle, VinylValidator::kValidText)
              : ProjectValidator::report(issues, ProjectValidator::kValidTitle, ProjectValidator::kValidText);
    std::cout << report.title << '\n';
    if (issues.empty())
        std::cout << report.text << '\n';
    for (const auto& issue : issues)
        std::cout << severityMark(issue.severity) << ' ' << severityName(issue.severity) << ": "
                  << issue.message << '\n';
}

} // namespace

int runValidate(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string path;
    bool json = false;
    bool vinyl = false;
    for (const auto& a : args) {
        if (a == "--json") {
            json = true;
        } else if (a == "--vinyl") {
            vinyl = true;
        } else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "orvane-cli validate: unknown option '%s'\n%s", a.c_str(), kHelp);
            return 2;
        } else if (path.empty()) {
            path = a;
        } else {
            std::fprintf(stderr, "orvane-cli validate: one project at a time\n%s", kHelp);
            return 2;
        }
    }
    if (path.empty()) {
        std::fputs(kHelp, stderr);
        return 2;
    }

    CDProject project;
    try {
        project = ProjectStore::load(path).project;
    } catch (const ProjectStoreError& error) {
        std::fprintf(stderr, "orvane-cli validate: %s\n", error.what());
        return 1;
    }
    if (vinyl && !project.vinylProgram) {
        std::fprintf(stderr, "orvane-cli validate: the project has no vinyl programme\n");
        return 1;
    }
    const std::vector<ValidationIssue> issues =
        vinyl ? VinylValidator::validate(*project.vinylProgram, project) : discIssues(project);
    printIssues(issues, vinyl, json);
    const bool anyError = std::any_of(issues.begin(), issues.end(), [](const ValidationIssue& issue) {
        return issue.severity == ValidationIssue::Severity::error;
    });
    return anyError ? 1 : 0;
}

} // namespace orvane::cli
