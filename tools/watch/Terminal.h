/// \file
/// A terminal used as a whole screen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace rksignal {

/// Takes the terminal of the process from construction to destruction. It is as before afterwards, also when
/// the program is stopped by Ctrl-Z, and when it crashes. One at a time.
class Terminal {
  public:
    enum Style : unsigned { Plain = 0, Dim = 1, Bold = 2, Reverse = 4 };
    /// Besides the characters that were typed, of ASCII.
    enum Key : int {
        None = -1,
        Up = 256,
        Down,
        PageUp,
        PageDown,
        Home,
        End,
        Backspace,
        Enter,
        Escape,
        Resize
    };

    /// \throws UsageError if standard input or output is no terminal, or one that is not known
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::size_t rows() const;
    std::size_t columns() const;
    /// Whether all characters can be shown; otherwise those outside ASCII become `?`.
    bool isUnicode() const { return unicode; }

    /// Begins a new picture; what is not drawn is empty.
    void erase();
    /// Writes UTF-8 text, which the caller has cut to the room that there is.
    void draw(std::size_t row, std::size_t column, const std::string& text, unsigned style = Plain);
    /// Shows the picture.
    void show();

    /// Waits until a key is pressed, a signal comes, or the time is over. \return false if nobody can press a
    /// key any more
    bool wait(std::uint64_t nanoseconds);
    /// The next key that was pressed; None: there is none. Does not wait.
    Key key();

  private:
    bool unicode = false;
};

/// Whether SIGINT, SIGTERM or SIGHUP has come while an object exists. They end waiting.
class EndSignals {
  public:
    EndSignals();
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    static bool haveCome();
};

} // namespace rksignal
