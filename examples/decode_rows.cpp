// Prints the values of traces as rows: decode_rows FILE.dbc TRACE...
#include "value/Replay.h"
#include <iostream>

class Rows : public rksignal::ValueSink {
  public:
    explicit Rows(const rksignal::Catalog& catalog) : catalog(catalog) {}

    void written(const rksignal::MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            std::cout << message.timestamp << ' ' << signal.def.instance << " = " << signal.physical() << ' '
                      << signal.def.unit << '\n';
        }
    }

  private:
    const rksignal::Catalog& catalog;
};

int main(int argc, char** argv) try {
    rksignal::Catalog catalog;
    catalog.addDbc(argc > 1 ? argv[1] : "drive.dbc");
    rksignal::Trace trace;
    for (int i = 2; i < argc; ++i) {
        trace.addFile(argv[i]);
    }
    Rows rows(catalog);
    rksignal::Replay(catalog, rows).run(trace);
    return trace.isSound() ? 0 : 1;
} catch (const rksignal::Error& error) {
    std::cerr << error.what() << '\n';
    return 2;
}
