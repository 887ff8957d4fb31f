// vexo: shows and converts picture files with the library. Exit codes: 0 done, 1 a file failed, 2 wrong usage.
#include "vexo/commands.h"

#include "common/com.h"
#include "common/text.h"
#include "vexokit.h"

namespace vexo::tools {
namespace {

constexpr AddCommand kCommands[] = {
    AddInfoCommand,
    AddConvertCommand,
};

std::string VersionText()
{
    VersionRecord version = {};
    V_VersionInfo(&version);
    return "vexo, with library version " + std::to_string(version.Major) + "." + std::to_string(version.Minor) + "\n";
}

// Help and version are for standard output, complaints for standard error.
int ReportUsage(const CLI::App &program, const CLI::ParseError &error)
{
    std::ostringstream out, complaint;
    const int code = program.exit(error, out, complaint);
    PrintOut(out.str());
    if (code == 0)
        return 0;
    PrintError("vexo: " + complaint.str());
    return 2;
}

int Run(std::vector<std::string> arguments)
{
    const ComScope com;
    V_SetStorageCaching(1);

    Session session;
    CLI::App program("Shows and converts picture files: PNG, BMP, TIFF, GIF and JPEG.", "vexo");
    program.allow_windows_style_options(false); // a path may start with a slash
    program.fallthrough();
    program.require_subcommand(1);
    program.set_version_flag("--version", VersionText());
    program.add_flag("-q,--quiet", session.quiet, "Print errors only");
    for (const AddCommand add : kCommands)
        add(program, session);

    try {
        std::reverse(arguments.begin(), arguments.end()); // CLI11 takes them from the back
        program.parse(std::move(arguments));
    } catch (const CLI::ParseError &error) {
        return ReportUsage(program, error);
    } catch (const std::bad_alloc &) {
        ReportFailure("out of memory");
        return 1;
    } catch (const std::exception &error) {
        ReportFailure(error.what());
        return 1;
    }
    return session.failureCount ? 1 : 0;
}

} // namespace

void ReportFailure(const std::string &words) { PrintError("vexo: " + words + "\n"); }

} // namespace vexo::tools

int wmain(int argc, wchar_t **argv)
{
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(vexo::tools::ToUtf8(argv[i]));
    return vexo::tools::Run(std::move(arguments));
}
