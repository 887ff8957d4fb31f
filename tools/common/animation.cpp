// Pixels come from the imaging component's frames, everything else from its metadata.
#include "common/animation.h"

#include "common/errors.h"
#include "common/image_file.h"

namespace vexo::tools {

namespace {

void TakeAnimationFields(const PictureFile &file, unsigned index, BitmapHandle &frame)
{
    const auto number = [&](const wchar_t *name) { return file.FrameNumber(index, name).value_or(0); };
    frame.AnimLeft = int(number(L"/imgdesc/Left"));
    frame.AnimTop = int(number(L"/imgdesc/Top"));
    frame.AnimDelay = number(L"/grctlext/Delay") * 10; // from hundredths of a second
    frame.AnimDisposal = int(number(L"/grctlext/Disposal"));
    if (number(L"/grctlext/UserInputFlag"))
        frame.Flags |= FLAG_WAIT_INPUT;
    if (number(L"/grctlext/TransparencyFlag")) {
        frame.AnimTransparent = COLOR_INDEX(number(L"/grctlext/TransparentColorIndex"));
        frame.Flags |= FLAG_TRANSPARENT;
    }
}

} // namespace

Animation ReadAnimation(const std::wstring &path)
{
    const PictureFile file(path);
    Animation animation = {};
    CheckStatus(V_CreateBitmapList(animation.frames.Receive()), path, "cannot be listed");
    for (unsigned i = 0; i < file.FrameCount(); ++i) {
        Bitmap frame = file.ReadFrame(i);
        TakeAnimationFields(file, i, *frame.get());
        CheckStatus(V_InsertBitmapListItem(animation.frames.get(), i, frame.get()), path, "cannot be listed");
        *frame.get() = {}; // the list's from now on
    }
    const BitmapHandle first = animation.frames.Item(0);
    animation.width = int(file.FileNumber(L"/logscrdesc/Width").value_or(0));
    animation.height = int(file.FileNumber(L"/logscrdesc/Height").value_or(0));
    if (animation.width == 0 || animation.height == 0) { // as browsers do
        animation.width = first.AnimLeft + first.Width;
        animation.height = first.AnimTop + first.Height;
    }
    return animation;
}

} // namespace vexo::tools
