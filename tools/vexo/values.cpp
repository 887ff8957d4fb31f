#include "vexo/values.h"

#include "common/errors.h"
#include "common/text.h"

#include <CLI/CLI.hpp>

#include <charconv>

namespace vexo::tools {

namespace {

// The text up to the first colon, which is taken off, or all of it.
std::string TakeWord(std::string &text)
{
    const size_t colon = text.find(':');
    const std::string word = text.substr(0, colon);
    text.erase(0, colon == std::string::npos ? colon : colon + 1);
    return word;
}

struct Mode {
    const char *name;
    unsigned combine;
};
constexpr Mode kModes[] = {
    {"replace", COMBINE_REPLACE},
    {"union", COMBINE_UNION},
    {"intersect", COMBINE_INTERSECT},
    {"minus", COMBINE_OLD_MINUS_NEW},
    {"xor", COMBINE_XOR},
    {"not", COMBINE_COMPLEMENT_NEW},
    {"reverse-minus", COMBINE_NEW_MINUS_OLD},
};

// The mode a shape begins with, which is taken off.
unsigned TakeMode(std::string &shape)
{
    for (const Mode &mode : kModes)
        if (shape.starts_with(std::string(mode.name) + ":")) {
            TakeWord(shape);
            return mode.combine;
        }
    return COMBINE_REPLACE;
}

[[noreturn]] void RefuseShape(const std::string &shape)
{
    throw CLI::ValidationError("--region", shape + " is no shape; see vexo --help");
}

int SetShape(BitmapHandle *bitmap, const std::string &kind, const std::vector<int> &n, unsigned combine)
{
    const RegionTransform fromTop = {ORIENT_TOP_DOWN, 1, 1, 1, 1, 0, 0};
    if (kind == "polygon" && n.size() >= 6 && n.size() % 2 == 0) {
        std::vector<POINT> points;
        for (size_t i = 0; i < n.size(); i += 2)
            points.push_back({n[i], n[i + 1]});
        return V_SetBitmapRgnPolygon(bitmap, &fromTop, points.data(), int(points.size()), 1, combine);
    }
    if (n.size() == (kind == "roundrect" ? 6 : 4)) {
        const RECT box = {n[0], n[1], n[2], n[3]};
        if (kind == "rect")
            return V_SetBitmapRgnRect(bitmap, &fromTop, &box, combine);
        if (kind == "ellipse")
            return V_SetBitmapRgnEllipse(bitmap, &fromTop, &box, combine);
        if (kind == "roundrect")
            return V_SetBitmapRgnRoundRect(bitmap, &fromTop, &box, n[4], n[5], combine);
    }
    RefuseShape(kind);
}

} // namespace

COLORREF ParseColor(const std::string &text, const char *option)
{
    const auto number = [&](size_t start, int base) {
        unsigned value = 0;
        const char *end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data() + start, end, value, base);
        if (parsed.ec != std::errc() || parsed.ptr != end)
            throw CLI::ValidationError(option, text + " is no colour: #rrggbb or index:N");
        return value;
    };
    if (text.size() == 7 && text[0] == '#') {
        const unsigned rgb = number(1, 16);
        return RGB(rgb >> 16, rgb >> 8 & 255, rgb & 255);
    }
    if (text.starts_with("index:"))
        return COLOR_INDEX(number(6, 10) & 0xFFFF);
    throw CLI::ValidationError(option, text + " is no colour: #rrggbb or index:N");
}

std::vector<int> ParseNumbers(const std::string &text, const char *option)
{
    std::vector<int> numbers;
    const char *place = text.data(), *end = text.data() + text.size();
    for (;;) {
        int value;
        const auto parsed = std::from_chars(place, end, value);
        if (parsed.ec != std::errc())
            throw CLI::ValidationError(option, text + " is no list of numbers");
        numbers.push_back(value);
        if (parsed.ptr == end)
            return numbers;
        if (*parsed.ptr != ',')
            throw CLI::ValidationError(option, text + " is no list of numbers");
        place = parsed.ptr + 1;
    }
}

void AddShape(Bitmap &bitmap, const std::string &shape)
{
    std::string values = shape;
    const unsigned combine = TakeMode(values);
    const std::string kind = TakeWord(values);
    const int status = kind == "colour" || kind == "color"
                           ? V_SetBitmapRgnColor(bitmap.get(), ParseColor(values, "--region"), combine)
                           : SetShape(bitmap.get(), kind, ParseNumbers(values, "--region"), combine);
    CheckStatus(status, ToWide(shape), "cannot be set as region");
}

} // namespace vexo::tools
