#pragma once

// A property that every input must keep: a broken one stops the fuzzer at once, with the input saved.
inline void check(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}
