#include "vexo/values.h"

#include "common/errors.h"
#include "common/text.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <optional>

namespace vexo::tools {

namespace {

// The number that all of a text is.
template <class T>
std::optional<T> WholeNumber(const std::string &text, int base)
{
    T value = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value, base);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(value) : std::nullopt;
}

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

COLORREF ParseRgb(const std::string &text, const char *option)
{
    const auto rgb = text.size() == 7 && text[0] == '#' ? WholeNumber<unsigned>(text.substr(1), 16) : std::nullopt;
    if (!rgb)
        throw CLI::ValidationError(option, text + " is no colour of the form #rrggbb");
    return RGB(*rgb >> 16, *rgb >> 8 & 255, *rgb & 255);
}

COLORREF ParseColor(const std::string &text, const char *option)
{
    constexpr std::string_view kIndex = "index:";
    if (!text.starts_with(kIndex))
        return ParseRgb(text, option);
    const auto index = WholeNumber<unsigned>(text.substr(kIndex.size()), 10);
    if (!index || *index > 255)
        throw CLI::ValidationError(option, text + " is no palette entry: index:0 to index:255");
    return COLOR_INDEX(*index);
}

std::vector<int> ParseNumbers(const std::string &text, const char *option, size_t count)
{
    std::vector<int> numbers;
    for (size_t start = 0; start <= text.size();) {
        const size_t comma = std::min(text.find(',', start), text.size());
        const auto number = WholeNumber<int>(text.substr(start, comma - start), 10);
        if (!number)
            throw CLI::ValidationError(option, text + " is no list of whole numbers");
        numbers.push_back(*number);
        start = comma + 1;
    }
    if (count && numbers.size() != count)
        throw CLI::ValidationError(option, text + " should be " + std::to_string(count) + " numbers");
    return numbers;
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
