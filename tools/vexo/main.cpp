// vexo: shows and converts picture files with the library. Exit codes: 0 done, 1 a file failed, 2 wrong usage.
#include "vexo/chain.h"

#include "common/com.h"
#include "common/text.h"
#include "vexokit.h"

namespace vexo::tools {
namespace {

constexpr AddCommand kCommands[] = {
    AddInfoCommand,  AddConvertCommand, AddFramesCommand, AddPlayCommand,    AddCopyCommand,
    AddPasteCommand, AddCaptureCommand, AddPrintCommand,  AddEffectsCommand,
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

// Whether the first word that is no option is a command; anything behind one may be the name of a file.
bool IsCommand(const CLI::App &program, const std::vector<std::string> &arguments)
{
    for (const std::string &word : arguments)
        for (const CLI::App *command : program.get_subcommands({}))
            if (command->get_name() == word)
                return true;
            else if (IsOperation(word))
                return false;
    return false;
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
    program.footer(
        "Operations, one after the other: vexo [--region SHAPE] OPERATION [OPERATION]... IN OUT\n" + ListOperations() +
        "\nvexo OPERATION --help tells about one. SHAPE is [MODE:]KIND:VALUES, counted from the "
        "top left:\n  rect:L,T,R,B  ellipse:L,T,R,B  roundrect:L,T,R,B,W,H  polygon:X,Y,X,Y,X,Y  colour:#rrggbb"
        "\n  MODE: replace, union, intersect, minus, xor, not, reverse-minus");
    program.add_flag("-q,--quiet", session.quiet, "Print errors only");
    for (const AddCommand add : kCommands)
        add(program, session);

    try {
        if (std::any_of(arguments.begin(), arguments.end(), IsOperation) && !IsCommand(program, arguments)) {
            RunChain(std::move(arguments), session);
            return session.failureCount ? 1 : 0;
        }
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
