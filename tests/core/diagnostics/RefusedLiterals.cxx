// Each case below must fail to compile (the control case must compile): the literal-only types refuse
// run-time text even where a type trait cannot tell, because their constructors run while compiling.
#include "core/diagnostics/DiagnosticLogger.h"

using namespace tessary;

int main(int argc, [[maybe_unused]] char** argv) {
    ManualClock clock;
    DiagnosticLogger logger(clock, std::nullopt, nullptr);
#if defined(REFUSED_accepted)
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "event.name", [] {
        return DiagnosticFields{{"key_1", "two words"}};
    });
#elif defined(REFUSED_runtime_value)
    char text[8] = "abc";
    text[0] = argv[0][0];
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "event", [&] {
        return DiagnosticFields{{"key", DiagnosticValue(text)}};
    });
#elif defined(REFUSED_runtime_event)
    static char event[8] = "event";
    event[0] = argv[0][0];
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, event);
#elif defined(REFUSED_key_with_blank)
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "event", [] {
        return DiagnosticFields{{"two words", "x"}};
    });
#elif defined(REFUSED_value_with_newline)
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "event", [] {
        return DiagnosticFields{{"key", "a\nb"}};
    });
#endif
    return argc > 100 ? 1 : 0;
}
