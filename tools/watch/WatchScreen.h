/// \file
/// The screen of `rksignal watch`: what is drawn, and what keys do.
#pragma once

#include "watch/Terminal.h"
#include "watch/WatchLayout.h"

#include <string>

namespace rksignal {

class WatchScreen {
  public:
    /// Everything must outlive the screen.
    WatchScreen(Terminal& terminal, WatchModel& model, const SlotReplay& slots)
        : terminal(terminal), model(model), slots(slots) {}

    void draw(const WatchTime& time);
    /// Does what this key, and all that were pressed after it, ask for. \return false: to end
    bool handleKeys(Terminal::Key key);
    /// Whether the picture stays as it is.
    bool isPaused() const { return paused; }

  private:
    void drawRows(const WatchTime& time);
    void drawHelp();
    void drawLine(std::size_t row, const std::string& text, unsigned style);
    std::string titleText(const WatchTime& time) const;
    std::string footerText() const;
    void edit(Terminal::Key key);
    bool command(Terminal::Key key);
    bool scroll(Terminal::Key key);
    std::size_t bodyRows() const;

    Terminal& terminal;
    WatchModel& model;
    const SlotReplay& slots;
    std::size_t top = 0; ///< in WatchModel::shown(): the first one on the screen
    bool isEditing = false;
    bool hasHelp = false;
    bool paused = false;
};

} // namespace rksignal
