#include "plot/SvgTheme.h"

#include <cstddef>

namespace rksignal {

const SvgTheme lightTheme = {
    .paper = "#fff",
    .text = "#1a1a1a",
    .muted = "#5c5c5c",
    .grid = "#e4e4e4",
    .frame = "#9a9a9a",
    .gap = "#ececec",
    .several = "#b5b5b5",
    .lines = {"#0072b2", "#d55e00", "#009e73", "#a6447d", "#b07400", "#2a93cf", "#000"},
    .bands = {"#cfe6f5", "#f9d3b8", "#c4e8d8", "#eed2e2", "#fbe7b2", "#d9d9f3", "#e9e9d0", "#f5c9c9"},
};

const SvgTheme darkTheme = {
    .paper = "#16191d",
    .text = "#ececec",
    .muted = "#a8adb3",
    .grid = "#2b3036",
    .frame = "#5b626a",
    .gap = "#262b30",
    .several = "#6d747c",
    .lines = {"#56b4e9", "#e69f00", "#2fc79b", "#e08fbf", "#f0e442", "#ff7a3d", "#fff"},
    .bands = {"#1f4a66", "#6b3a14", "#14513f", "#5a2f49", "#5c4a0c", "#3a3a6b", "#4a4a2c", "#5e2b2b"},
};

std::string styleSheet(const SvgTheme& theme) {
    const auto rule = [](const std::string& name, const std::string& content) {
        return "." + name + "{" + content + "}";
    };
    std::string css = std::string("text{fill:") + theme.text + "}path{fill:none}";
    css += rule("m", std::string("fill:") + theme.muted);
    css += rule("n", "font-weight:bold");
    css += rule("grid", std::string("stroke:") + theme.grid);
    css += rule("frame", std::string("fill:none;stroke:") + theme.frame);
    css += rule("gap", std::string("fill:") + theme.gap);
    css += rule("several", std::string("fill:") + theme.several);
    css += rule("line", "stroke-width:1.4;stroke-linejoin:round;stroke-linecap:round");
    css += rule("when", "fill-opacity:.16;stroke-opacity:.6;stroke-dasharray:2 3");
    for (std::size_t i = 0; i < theme.lines.size(); ++i) {
        const std::string number = std::to_string(i);
        css += rule("c" + number, std::string("stroke:") + theme.lines[i]);
        css += rule("f" + number, std::string("fill:") + theme.lines[i]);
    }
    for (std::size_t i = 0; i < theme.bands.size(); ++i) {
        css += rule("b" + std::to_string(i), std::string("fill:") + theme.bands[i]);
    }
    for (std::size_t i = 1; i < lineDashes.size(); ++i) {
        css += rule("d" + std::to_string(i),
                    std::string("stroke-linecap:butt;stroke-dasharray:") + lineDashes[i]);
    }
    return css;
}

} // namespace rksignal
