#include "watch/WatchScreen.h"

#include "output/TextWidth.h"

#include <algorithm>
#include <array>

namespace rksignal {
namespace {

constexpr std::size_t frameRows = 3; ///< title, names of the columns, and the last line

constexpr std::array helpLines = {
    "q          quit",
    "/          filter: part of a name, or a pattern with * and ?",
    "           Enter keeps it, Esc takes it away",
    "s          order: definition, name, age, rate, changed",
    "r          the other way round",
    "v          only signals that have had a value",
    "space      hold the picture",
    "arrows, page up and down, Home, End",
    "",
    "*          changed within the last second",
    "dim        stale, without a value, or in a branch",
    "           that its multiplexer does not select now",
    "missing    nobody shares the signal",
    "removed    somebody did, and has removed it",
    "held       its lock is held; the value is from before",
};

unsigned styleOf(WatchColumn column, const WatchRow& row) {
    return (row.isDim ? Terminal::Dim : Terminal::Plain) |
           (column == WatchColumn::Value && row.isChanged ? Terminal::Bold : Terminal::Plain);
}

} // namespace

std::size_t WatchScreen::bodyRows() const {
    return terminal.rows() > frameRows ? terminal.rows() - frameRows : 0;
}

void WatchScreen::drawLine(std::size_t row, const std::string& text, unsigned style) {
    if (row < terminal.rows()) {
        const std::string cut = shortened(text, terminal.columns());
        const std::string padding((style & Terminal::Reverse) != 0 ? terminal.columns() - textWidth(cut) : 0,
                                  ' ');
        terminal.draw(row, 0, cut + padding, style);
    }
}

void WatchScreen::draw(const WatchTime& time) {
    terminal.erase();
    drawLine(0, titleText(time), Terminal::Bold);
    if (hasHelp) {
        drawHelp();
    } else {
        drawRows(time);
    }
    if (terminal.rows() >= frameRows) {
        drawLine(terminal.rows() - 1, footerText(), isEditing ? Terminal::Bold : Terminal::Dim);
    }
    terminal.show();
}

void WatchScreen::drawRows(const WatchTime& time) {
    const std::vector<WatchCell> columns = watchColumns(terminal.columns(), model);
    drawLine(1, headerText(columns), Terminal::Reverse);
    const std::vector<std::size_t>& shown = model.shown();
    top = std::min(top, shown.size() - std::min(shown.size(), bodyRows()));
    const std::size_t count = std::min(bodyRows(), shown.size() - top);
    for (std::size_t i = 0; i < count; ++i) {
        const WatchRow row = model.row(shown[top + i], slots, time);
        std::size_t column = 0;
        for (const WatchCell& cell : columns) {
            terminal.draw(i + 2, column, cellText(cell, row, terminal.isUnicode()),
                          styleOf(cell.column, row));
            column += cell.width + 1;
        }
    }
}

void WatchScreen::drawHelp() {
    for (std::size_t i = 0; i < std::min(helpLines.size(), bodyRows()); ++i) {
        drawLine(i + 2, helpLines.at(i), Terminal::Plain);
    }
}

std::string WatchScreen::titleText(const WatchTime& time) const {
    std::string title = std::to_string(model.fresh(time)) + " of " + std::to_string(model.size()) + " live";
    if (model.shown().size() != model.size()) {
        title += ", " + std::to_string(model.shown().size()) + " shown";
    }
    for (const auto connection : {SlotReplay::Connection::Missing, SlotReplay::Connection::Removed}) {
        if (const std::size_t count = slots.statistics().count(connection); count > 0) {
            title += ", " + std::to_string(count) + " " + absenceText(connection, {});
        }
    }
    title += std::string("   order: ") + nameOf(model.order()) + (model.isReversed() ? ", reversed" : "");
    return paused ? "held   " + title : title;
}

std::string WatchScreen::footerText() const {
    if (isEditing) {
        return "/" + model.filter() + "_";
    }
    const std::string filter = model.filter().empty() ? "/ filter" : "/" + model.filter();
    return "q quit  " + filter + "  s order  ? help";
}

bool WatchScreen::handleKeys(Terminal::Key key) {
    for (; key != Terminal::None; key = terminal.key()) {
        if (hasHelp) {
            hasHelp = false;
        } else if (isEditing) {
            edit(key);
        } else if (!scroll(key) && !command(key)) {
            return false;
        }
    }
    return true;
}

void WatchScreen::edit(Terminal::Key key) {
    std::string text = model.filter();
    if (key == Terminal::Enter) {
        isEditing = false;
    } else if (key == Terminal::Escape) {
        isEditing = false;
        model.setFilter("");
    } else if (key == Terminal::Backspace) {
        text.resize(text.size() - std::min<std::size_t>(text.size(), 1));
        model.setFilter(text);
    } else if (static_cast<int>(key) < Terminal::Up) {
        model.setFilter(text + static_cast<char>(key));
    }
}

bool WatchScreen::scroll(Terminal::Key key) {
    const std::size_t page = std::max<std::size_t>(bodyRows(), 1);
    const auto back = [this](std::size_t rows) { top -= std::min(top, rows); };
    switch (static_cast<int>(key)) {
    case Terminal::Up:
    case 'k':
        back(1);
        return true;
    case Terminal::Down:
    case 'j':
        top += 1; // draw() keeps it within the rows
        return true;
    case Terminal::PageUp:
        back(page);
        return true;
    case Terminal::PageDown:
        top += page;
        return true;
    case Terminal::Home:
        top = 0;
        return true;
    case Terminal::End:
        top = model.shown().size();
        return true;
    default:
        return false;
    }
}

/// \return false: to end
bool WatchScreen::command(Terminal::Key key) {
    switch (static_cast<int>(key)) {
    case 'q':
        return false;
    case '/':
        isEditing = true;
        break;
    case Terminal::Escape:
        model.setFilter("");
        break;
    case 's':
        model.setOrder(static_cast<WatchOrder>((static_cast<std::size_t>(model.order()) + 1) % watchOrders),
                       false);
        break;
    case 'r':
        model.setOrder(model.order(), !model.isReversed());
        break;
    case 'v':
        model.setOnlyValues(!model.onlyValues());
        break;
    case ' ':
        paused = !paused;
        break;
    case '?':
        hasHelp = true;
        break;
    default:
        break;
    }
    return true;
}

} // namespace rksignal
