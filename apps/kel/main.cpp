// kel: the library's functions on the command line. The few private headers of the library that it needs are included by
// their paths.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <new>
#include <string>
#include <utility>

#include "../../src_lib/base/processMemory.h"
#include "commands.h"

namespace {

/// The whole text on one line.
std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

int fail(const std::string& text, int status) {
    std::cerr << "kel: " << oneLine(text) << std::endl;
    return status;
}

std::string versionText() {
    int major = 0;
    int minor = 0;
    TARN_KEL::getVersion(major, minor);
    return "kel " + std::to_string(major) + "." + std::to_string(minor);
}

/// Opens what the caller closed of standard input, output and error: a file that takes one of these numbers would be read
/// or written in place of it. Reading the first and writing the second still fail; what goes to the third is lost.
void fillStandardStreams() {
    for (const auto& [stream, mode] :
         {std::pair(STDIN_FILENO, O_WRONLY), {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_RDWR}})
        if (::fcntl(stream, F_GETFD) == -1) ::open("/dev/null", mode);  // takes the lowest number that is free
}

int runProgram(int argc, char** argv) {
    CLI::App app("Surface reconstruction: makes a triangle mesh of points, and works on meshes", "kel");
    app.set_version_flag("--version", versionText());
    app.require_subcommand(1);
    Program program;
    addReconstructCommand(app, program);
    addMeltCommand(app, program);
    addCloudCommand(app, program);
    addManifoldCommand(app, program);
    addFitCommand(app, program);
    addReduceCommand(app, program);
    addFillCommand(app, program);
    addFlipCommand(app, program);
    addSmoothCommand(app, program);
    addConvertCommand(app, program);
    addHolesCommand(app, program);
    addInfoCommand(app, program);
    addSpacingCommand(app, program);
    addScanCommand(app, program);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& wrong) {
        return fail(wrong.what(), 2);
    } catch (const Failure& failure) {
        return fail(program.pipes().withPlainNames(failure.what()), 1);
    }
    program.writeReport();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    TARN_KEL::returnLargeBlocksAtOnce();  // the steps of a run need blocks of quite different sizes
    fillStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);  // a reader that stops early is an error of writing, which leaves no temporary files
    try {
        return runProgram(argc, argv);
    } catch (const std::bad_alloc&) {
        return fail("Out of memory", 1);
    } catch (const std::exception& failure) {
        return fail(failure.what(), 1);
    }
}
