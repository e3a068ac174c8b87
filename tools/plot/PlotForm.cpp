#include "plot/PlotForm.h"

#include "command/FileEnding.h"
#include "command/UsageError.h"
#include "output/TerminalStyle.h"
#include "plot/PictureFile.h"
#include "plot/SvgFigure.h"
#include "plot/TerminalFigure.h"

#include <algorithm>
#include <sys/ioctl.h>
#include <unistd.h>

namespace rksignal {
namespace {

constexpr unsigned usualColumns = 80;
constexpr unsigned usualRows = 6; // of a panel
constexpr unsigned usualWidth = 1000;
constexpr SvgSize landscapeA4 = {1123, 794}; // 297 by 210 mm
constexpr unsigned mostPixels = 16'384;
constexpr unsigned mostColumns = 1000;

winsize terminalSize(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

/// Of each panel of curves, so that the drawing has about so many lines.
unsigned rowsFor(const Figure& figure, unsigned lines) {
    constexpr unsigned axis = 5; // the title, the axis of time and the line below the drawing
    std::size_t fixed = axis + 2 * figure.lanes.size();
    std::size_t curves = 0;
    for (const FigurePanel& panel : figure.panels) {
        const bool isLow = panel.isStates() || panel.isConstant();
        fixed += isLow ? 2 : 1;
        curves += isLow ? 0 : 1;
    }
    constexpr std::size_t least = 3;
    constexpr std::size_t most = 24;
    const std::size_t room = lines > fixed ? lines - fixed : 0;
    return static_cast<unsigned>(std::clamp(room / std::max<std::size_t>(curves, 1), least, most));
}

} // namespace

PlotForm::PlotForm(const PlotOptions& options, int standardOutput)
    : form(formOf(options)), width(options.width), height(options.height), dark(options.dark),
      output(standardOutput), isStandard(options.output.empty()) {
    if (form == Form::Text && dark) {
        throw UsageError("--theme is for pictures; a terminal has colours of its own");
    }
    if (width == 0) {
        const unsigned columns = isStandard ? terminalSize(output).ws_col : 0;
        width = form == Form::Text
                    ? std::clamp(columns == 0 ? usualColumns : columns, leastTerminalColumns, mostColumns)
                : form == Form::Pdf ? landscapeA4.width
                                    : usualWidth;
    }
    if (height == 0 && form == Form::Pdf) {
        height = landscapeA4.height;
    }
    checkSize();
}

PlotForm::Form PlotForm::formOf(const PlotOptions& options) {
    const struct {
        const char* name;
        Form form;
    } forms[] = {{"text", Form::Text}, {"svg", Form::Svg}, {"png", Form::Png}, {"pdf", Form::Pdf}};
    for (const auto& [name, form] : forms) {
        const bool isNamed =
            options.form.empty() && !options.terminal && hasEnding(options.output, std::string(".") + name);
        if (options.form == name || isNamed) {
            return form;
        }
    }
    if (!options.terminal && !options.output.empty()) {
        throw UsageError("-o " + options.output +
                         ": the name does not end in .svg, .png or .pdf; --format says what it is");
    }
    return Form::Text;
}

void PlotForm::checkSize() const {
    const bool isCells = form == Form::Text;
    const unsigned least = isCells ? leastTerminalColumns : leastSvgWidth;
    const unsigned most = isCells ? mostColumns : mostPixels;
    if (width < least || width > most) {
        throw UsageError("--width " + std::to_string(width) + ": not from " + std::to_string(least) + " to " +
                         std::to_string(most) + (isCells ? " cells" : " pixels"));
    }
    if (height > most) {
        throw UsageError("--height " + std::to_string(height) + ": not up to " + std::to_string(most) +
                         (isCells ? " lines" : " pixels"));
    }
}

std::size_t PlotForm::columns() const {
    return form == Form::Text ? terminalDots({width, usualRows}) : width;
}

std::string PlotForm::draw(const Figure& figure) const {
    const SvgTheme& theme = dark ? darkTheme : lightTheme;
    const SvgSize size{width, height};
    switch (form) {
    case Form::Text:
        break;
    case Form::Svg:
        return svgOf(figure, size, theme).text;
    case Form::Png: {
        const SvgPicture picture = svgOf(figure, size, theme);
        if (picture.size.height > mostPixels) {
            throw UsageError("the picture would be " + std::to_string(picture.size.height) +
                             " pixels high; fewer signals, or a PDF file, which has pages, may do");
        }
        return pngFile(picture);
    }
    case Form::Pdf:
        return pdfFile(svgPages(figure, size, theme), figure.title);
    }
    return drawText(figure);
}

std::string PlotForm::drawText(const Figure& figure) const {
    const bool isTerminal = isStandard && isatty(output) == 1;
    const TerminalStyle style = TerminalStyle::of(output);
    const unsigned lines = height != 0 ? height : isTerminal ? terminalSize(output).ws_row : 0;
    const unsigned rows = lines != 0 ? rowsFor(figure, lines) : usualRows;
    return terminalDrawing(figure, {width, rows}, {!isTerminal || style.boxes, isTerminal && style.colours});
}

} // namespace rksignal
