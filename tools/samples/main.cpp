// make_samples DIR: writes the project's sample pictures into a folder, one of each kind that vexo reads.
#include "common/errors.h"
#include "common/gif_file.h"
#include "common/image_file.h"
#include "common/text.h"
#include "samples/scenes.h"

namespace vexo::tools {
namespace {

struct Sample {
    const wchar_t *name;
    Bitmap (*paint)();
};

constexpr Sample kSamples[] = {
    {L"lake.jpg", PaintLake}, {L"still-life.png", PaintStillLife}, {L"moon-gray.png", PaintMoon},
    {L"page.tif", PaintPage}, {L"mosaic16.bmp", PaintMosaic},      {L"glass-alpha.png", PaintGlass},
};

void WriteSamples(const std::wstring &folder)
{
    if (!CreateDirectoryW(folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
        throw FileError(folder, "cannot be made: " + SystemWords(GetLastError()));
    for (const Sample &sample : kSamples) {
        Bitmap bitmap = sample.paint();
        WritePicture(bitmap, folder + L"\\" + sample.name);
    }
    std::vector<Bitmap> frames = PaintOrbit();
    WriteGif(frames, folder + L"\\orbit.gif");
}

} // namespace
} // namespace vexo::tools

int wmain(int argc, wchar_t **argv)
{
    using namespace vexo::tools;
    if (argc != 2) {
        PrintError("usage: make_samples FOLDER\n");
        return 2;
    }
    try {
        const ComScope com;
        V_SetStorageCaching(1);
        WriteSamples(argv[1]);
        return 0;
    } catch (const std::exception &error) {
        PrintError(std::string("make_samples: ") + error.what() + "\n");
        return 1;
    }
}
