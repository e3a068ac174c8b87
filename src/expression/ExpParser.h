/// \file
/// Trigger conditions: an expression over signals, compiled once and evaluated whenever they change.
///
///     ExpParser overspeed("Vehicle.Speed > 50 && Door.Open == 1", false);
///     if (!overspeed.isUsable()) { ... overspeed.errors().back() says what is wrong ... }
///     bool result = false;
///     if (overspeed.getExpResult(result) && result) { ... }
///
/// An expression is one line: signal names, numbers and keyword constants (`pressed`, `high`, `warning`,
/// ...), joined by `||` and `&&` (one level, from left to right), `== != < <= > >=`, `!`, `+ - * / %`, signs
/// and parentheses. Blank lines and lines that start with `#` may stand before it.
///
/// A signal without a valid value is unknown. Unknown is carried as NaN: arithmetic and comparisons with an
/// unknown operand are unknown; `||` and `&&` are known where the known operand decides (three-valued logic,
/// after S. C. Kleene, Introduction to Metamathematics, 1952, section 64), with one exception that is kept on
/// purpose: a negative number beside an unknown does not decide a `||`.
#pragma once

#include "expression/ExpError.h"
#include "expression/ExpProgram.h"
#include "signal/BaseSignal.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

class expFlexLexer;
class ExpLexer;
class ExpMachine;

/// Semantic value of a token, which the scanner hands to the parser.
union YYSTYPE {
    double number;  ///< of a number
    char text[128]; ///< of a name, NUL-terminated
};

/// What an expression does with its errors, besides keeping them in `ExpParser::errors`.
enum class ExpErrors : std::uint8_t {
    Print,   ///< prints each on standard error when it is found
    Collect, ///< nothing more
};

/// A compiled expression.
///
/// `program` holds its steps in postfix order. Evaluation runs them over a stack of doubles; it allocates
/// nothing, and reads each signal through `BaseSignal::read`, a shared one under its slot's lock.
///
/// Threads: one expression is used by one thread at a time. Different ones may be built and destroyed by
/// different threads at once, as long as no signal enters or leaves a storage in which names are looked up,
/// and evaluated at once if they read different signals: `read` changes a signal object. Shared by the whole
/// process are `allExpParsers`, `debug` and `expdebug`: see there.
class RKSIGNAL_EXPORT ExpParser {
  public:
    /// Names an operation that a step carries out.
    using Operation = ExpProgram::Operation;
    using Step = ExpProgram::Step;

    /// Every usable expression. Clients own the objects, or let `clear` destroy them. Constructors and
    /// destructors change it under a lock of the library; a client may look into it only while no other
    /// thread builds or destroys an expression.
    static std::set<ExpParser*> allExpParsers;
    /// 0 quiet; 1 debug lines on standard output; 2 and above also traces of the parse. To be set while no
    /// other thread builds an expression; above 1, expressions are built by one thread at a time.
    static int debug;

    /// Compiles `text`, with names looked up in `storage` (null: the default one), which must outlive the
    /// object, as must its signals.
    ///
    /// A text that is no expression, or holds a name of 128 characters or more, leaves the object unusable:
    /// see `isUsable`. A name that no signal has is an error too, but stands for the constant 0 and leaves
    /// the object usable. Each error is kept in `errors` and printed on standard error; after a fatal one the
    /// whole text is printed, too.
    /// \param edgeTrigger whether `getTrigger` reports only the change from false to true
    /// \throws std::logic_error if `text` is null
    ExpParser(const char* text, bool edgeTrigger, SignalStorage* storage = nullptr);
    /// The same, but prints errors, now and in later calls of `add`, only if `whatToDo` says so.
    ExpParser(const char* text, bool edgeTrigger, SignalStorage* storage, ExpErrors whatToDo);
    virtual ~ExpParser();
    ExpParser(const ExpParser&) = delete;
    ExpParser& operator=(const ExpParser&) = delete;

    /// Destroys every object of `allExpParsers`, while no other thread builds or uses an expression.
    static void clear();

    /// Whether the text is an expression. If not, the program is incomplete, and its results mean nothing.
    /// Unknown signals, which count as 0, do not matter here: whoever does not want them asks `errors`.
    bool isUsable() const { return usable; }
    /// What was wrong with the text, in the order in which it was found: any number of unknown signals, each
    /// once for every step that would have read it, then at most one fatal error.
    const std::vector<ExpError>& errors() const { return foundErrors; }

    // --- building: called by the parser, in postfix order ---

    void add(const Step& step);
    void add(Operation operation);
    void add(double value);
    /// Adds a step that reads the named signal; if there is none, reports that and adds the constant 0.
    void add(const std::string& name);
    /// Keeps an error, with the number of steps so far, and prints it unless errors are only collected.
    void report(ExpError error);

    // --- evaluation ---

    /// Evaluates once. \return whether the result is known; if not, `result` is false
    bool getExpResult(bool& result);
    /// Evaluates once. Without edge trigger: whether the result is known and true. With it: whether it has
    /// become true since it was last known to be false, or for the first time.
    bool getTrigger();
    /// The newest time stamp of the signals that the program reads, valid or not; 0 without signals.
    unsigned long getLastestTime() const;
    /// Empties the stack.
    void clearstack();

    /// Writes the program as text, one step a line: its number, its operation, and its operand if any.
    void dump(std::ostream& out) const;

    // --- operations ---
    //
    // Each works on the stack: a is the element below the top, b the top one. Binary ones replace both by the
    // result, unary ones replace b. Truth is 1, falsehood 0, unknown NaN. Called with too few elements on the
    // stack, they report that and end the process with exit status 4: only a program built by hand can.

    void opdouble(); ///< pushes the step's constant
    void opsignal(); ///< pushes the value of the step's signal; NaN if it has none
    void opplus();   ///< a + b
    void opminus();  ///< a - b
    void opmult();   ///< a * b
    void opdiv();    ///< a / b; an infinity or NaN for b = 0
    /// Remainder of a and b as unsigned 64-bit integers, both truncated; a negative operand wraps modulo
    /// 2^64. NaN if an operand is unknown or outside -2^63 .. 2^64, or if b truncates to 0.
    void opmod();
    void opexp();  ///< a to the power of b; no expression text leads to it
    void oplt();   ///< a < b
    void opgt();   ///< a > b
    void ople();   ///< a <= b
    void opge();   ///< a >= b
    void opbeq();  ///< a == b exactly, between booleans
    void opbne();  ///< a != b, between booleans
    void opdeq();  ///< a == b exactly, between numbers
    void opdne();  ///< a != b, between numbers
    void oplor();  ///< a || b; with one unknown, true if the other is positive, else unknown
    void opland(); ///< a && b; with one unknown, false if the other is 0, else unknown
    void opneg();  ///< -b
    void opnz();   ///< b as a boolean: left as it is
    void opnot();  ///< whether b is 0

    // --- state ---

    std::vector<Step>::iterator pc; ///< step that is being carried out
    ExpProgram program;
    std::uint64_t stackCapacity = 0; ///< elements that the program may put on the stack
    /// At least `stackCapacity` + 1 elements, the first of them unused. Owned, as are all other pointers but
    /// `storage` and the signals.
    double* stackBase = nullptr;
    double* stackTop = nullptr; ///< top element; equal to `stackBase` when the stack is empty
    /// While the object is built, its scanner; then one that is at its end, the same for all expressions.
    std::shared_ptr<expFlexLexer> lexer;
    std::string expression; ///< text as given
    bool edgeTrigger;
    bool lastResult = false;                          ///< last known result, in edge mode
    std::set<std::uint64_t> signalIds;                ///< identifiers of the signals
    std::set<BaseSignal*, BaseSignalCompare> signals; ///< signals that the program reads
    SignalStorage* storage;

  private:
    friend int explex(YYSTYPE* value, void* parser);
    friend void reportAtToken(void* parser, ExpError::Kind kind, const char* message);

    RKSIGNAL_HIDDEN bool parse();
    RKSIGNAL_HIDDEN int line() const;
    RKSIGNAL_HIDDEN void growStack();
    RKSIGNAL_HIDDEN void allocateStack(std::uint64_t room);
    RKSIGNAL_HIDDEN bool runSteps(double& value);
    RKSIGNAL_HIDDEN void require(std::ptrdiff_t count) const;
    template <auto function>
    RKSIGNAL_HIDDEN void unary();
    template <auto function>
    RKSIGNAL_HIDDEN void binary();

    std::unique_ptr<ExpMachine> machine; ///< the program in the form that is run
    std::vector<ExpError> foundErrors;
    ExpLexer* scanner = nullptr; ///< `lexer` while the object is built
    std::uint64_t stackRoom = 0; ///< elements allocated, without the unused one
    int lastLine = 1;            ///< on which the text was parsed to its end, or to its error
    bool printsErrors;
    bool usable = false;
};

/// The parser made from the grammar: parses the text of `parser`, an `ExpParser`, and adds its steps.
/// \return 0; 1 after a syntax error; 2 when the expression is nested too deeply
RKSIGNAL_EXPORT int expparse(void* parser);
/// Reads the next token of `parser`, an `ExpParser`. \return its code; 0 at the end, and once the object is
/// built
RKSIGNAL_EXPORT int explex(YYSTYPE* value, void* parser);
/// Reports an error to `parser`, an `ExpParser`, with the line and the text around the last token read.
RKSIGNAL_EXPORT void experror(void* parser, const char* message);
/// Non-zero: the parser writes a trace to standard error. `ExpParser` sets it when its `debug` is above 1.
RKSIGNAL_EXPORT extern int expdebug;
