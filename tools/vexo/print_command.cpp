// vexo print FILE...: pictures onto paper, one or several to a page.
#include "vexo/commands.h"

#include "common/errors.h"
#include "common/image_file.h"
#include "common/text.h"
#include "vexo/file_names.h"
#include "vexo/progress.h"
#include "vexo/values.h"

#include <algorithm>
#include <cmath>

namespace vexo::tools {

namespace {

// A job on a printer with its first page begun. Without Finish it is given up.
class PrintJob {
public:
    explicit PrintJob(const std::string &printer) : m_name(printer.empty() ? L"default printer" : ToWide(printer))
    {
        m_dc = printer.empty() ? V_PrintBitmapExt(nullptr, nullptr, 0, 0, 0, 0, 0) : Begin(m_name);
        if (!m_dc)
            throw FileError(m_name, "cannot be printed on");
    }
    ~PrintJob()
    {
        if (!m_dc)
            return;
        AbortDoc(m_dc);
        DeleteDC(m_dc);
    }
    PrintJob(const PrintJob &) = delete;
    PrintJob &operator=(const PrintJob &) = delete;

    SIZE PageSize() const { return {GetDeviceCaps(m_dc, HORZRES), GetDeviceCaps(m_dc, VERTRES)}; }

    void NextPage()
    {
        if (EndPage(m_dc) <= 0 || StartPage(m_dc) <= 0)
            throw FileError(m_name, "has no further page");
    }
    // A place or size of 0 is the library's choice.
    void Print(Bitmap &bitmap, POINT place, SIZE size, const std::wstring &path)
    {
        if (!V_PrintBitmapExt(m_dc, bitmap.get(), place.x, place.y, size.cx, size.cy, 0))
            throw FileError(path, "cannot be printed");
    }
    void Finish()
    {
        if (!V_PrintBitmapExt(std::exchange(m_dc, nullptr), nullptr, 0, 0, 0, 0, 1))
            throw FileError(m_name, "does not end the job");
    }

private:
    static HDC Begin(const std::wstring &name)
    {
        const HDC dc = CreateDCW(L"WINSPOOL", name.c_str(), nullptr, nullptr);
        DOCINFOW job = {};
        job.cbSize = sizeof job;
        job.lpszDocName = L"vexo";
        if (dc && StartDocW(dc, &job) > 0 && StartPage(dc) > 0)
            return dc;
        if (dc)
            DeleteDC(dc);
        return nullptr;
    }

    std::wstring m_name;
    HDC m_dc;
};

struct PrintOptions {
    std::vector<std::string> files;
    std::string printer, place = "0,0", size = "0,0";
    int perPage = 1;
};

// A cell of a page that is divided evenly, and the largest size with the
// picture's proportions in it.
struct Cell {
    POINT place;
    SIZE size;
};
Cell CellOf(int index, int perPage, SIZE page, const Bitmap &bitmap)
{
    const int columns = int(std::ceil(std::sqrt(perPage))), rows = (perPage + columns - 1) / columns;
    const int width = int(page.cx) / columns, height = int(page.cy) / rows;
    const int gap = std::min(width, height) / 20;
    const double scale = std::min(double(width - 2 * gap) / bitmap->Width, double(height - 2 * gap) / bitmap->Height);
    const int shownWidth = std::max(1, int(bitmap->Width * scale));
    const int shownHeight = std::max(1, int(bitmap->Height * scale));
    return {{index % columns * width + (width - shownWidth) / 2, index / columns * height + (height - shownHeight) / 2},
            {shownWidth, shownHeight}};
}

void RunPrint(const PrintOptions &options, const Session &session)
{
    const std::vector<int> place = ParseNumbers(options.place, "--at", 2);
    const std::vector<int> size = ParseNumbers(options.size, "--size", 2);
    const std::vector<std::wstring> paths = ExpandFileNames(options.files);
    std::vector<Bitmap> pictures;
    for (const std::wstring &path : paths) // all of them are read before any paper is used
        pictures.push_back(PictureFile(path).ReadFrame());
    PrintJob job(options.printer);
    for (size_t i = 0; i < pictures.size(); ++i) {
        const int index = int(i) % options.perPage;
        if (i && index == 0)
            job.NextPage();
        const ProgressLine progress(ToUtf8(paths[i]), !session.quiet);
        const Cell cell = options.perPage > 1 ? CellOf(index, options.perPage, job.PageSize(), pictures[i])
                                              : Cell{{place[0], place[1]}, {size[0], size[1]}};
        job.Print(pictures[i], cell.place, cell.size, paths[i]);
    }
    job.Finish();
}

} // namespace

void AddPrintCommand(CLI::App &program, Session &session)
{
    CLI::App *command = program.add_subcommand("print", "Print pictures");
    auto options = std::make_shared<PrintOptions>();
    command->add_option("FILE", options->files, "Picture files; * and ? stand for any characters")->required();
    command->add_option("--printer", options->printer, "Name of the printer (default: the default printer)");
    CLI::Option *place = command->add_option("--at", options->place, "LEFT,TOP in dots, 0 to centre (default: 0,0)");
    CLI::Option *size =
        command->add_option("--size", options->size, "WIDTH,HEIGHT in dots, 0 for the one that fits (default: 0,0)");
    command->add_option("--per-page", options->perPage, "Pictures side by side on a page (default: 1)")
        ->check(CLI::Range(1, 100))
        ->excludes(place)
        ->excludes(size);
    command->callback([options, &session] { RunPrint(*options, session); });
}

} // namespace vexo::tools
