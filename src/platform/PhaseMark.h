#pragma once
#include <chrono>
#include <cstdio>
#include <cstdlib>
inline void phaseMark(const char* what) {
    static auto start = std::chrono::steady_clock::now();
    if (!std::getenv("KPHASE")) return;
    std::fprintf(stderr, "%8.1f ms %s\n", std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count(), what);
}
