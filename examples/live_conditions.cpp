// Watches a condition over frames as they come, here from a loop: live_conditions FILE.dbc 'CONDITION'
#include "condition/Triggers.h"
#include "value/Replay.h"
#include <iostream>

class Alarm : public rksignal::FiringSink {
    void fired(const rksignal::Firing& firing) override {
        std::cout << firing.timestamp << ' ' << firing.condition.explain();
    }
};

int main(int argc, char** argv) try {
    rksignal::Catalog catalog;
    catalog.addDbc(argc > 1 ? argv[1] : "drive.dbc");
    std::vector<rksignal::Condition> conditions;
    conditions.emplace_back(argc > 2 ? argv[2] : "fast = Engine.Speed > 100", catalog,
                            rksignal::ConditionOptions{.edgeTrigger = true});
    for (const rksignal::Remark& remark : conditions.front().remarks()) {
        std::cerr << remark << '\n';
    }
    rksignal::Triggers triggers(catalog, std::move(conditions));
    Alarm alarm;
    triggers.addFiringSink(alarm);
    rksignal::Replay replay(catalog, triggers);
    for (std::uint8_t i = 0; i < 200; ++i) {
        replay.receive(CANExtTraceMessage{
            .timestamp = i * std::uint64_t{1'000'000}, .length = 1, .canId = 1, .payload = {i}});
    }
    return triggers.size() == 1 ? 0 : 1;
} catch (const rksignal::Error& error) {
    std::cerr << error.what() << '\n';
    return 2;
}
