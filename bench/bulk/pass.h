// SPDX-License-Identifier: MIT
#pragma once

// What both programs of the bulk measurements do in the same way: the values that they send, and timing.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

#include <malloc.h>

inline constexpr int kLongs = 1'000'000;
inline constexpr int kDoubles = 1'000'000;
inline constexpr int kSamples = 100'000;
inline constexpr int kBytes = 10'000'000;

inline int long_at(int i) {
    return static_cast<int>(static_cast<unsigned>(i) * 2654435761u);
}
inline double double_at(int i) {
    return (i - 500'000) * 1.000000123e-3;
}
/// With eight digits at most, as many as a float travels with.
inline float measure_at(int i) {
    return static_cast<float>(i) * 0.0625F;
}
inline std::string name_at(int i) {
    return "sample " + std::to_string(i);
}
/// One character of a hundred has to be escaped.
inline std::string long_text() {
    std::string text(kBytes, 'x');
    for (int i = 0; i < kBytes; ++i)
        text[static_cast<std::size_t>(i)] = i % 100 == 7 ? '<' : static_cast<char>('a' + i % 26);
    return text;
}
inline unsigned char octet_at(int i) {
    return static_cast<unsigned char>(static_cast<unsigned>(i) * 2654435761u >> 24);
}

inline std::string contents_of(const char* file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline double cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Memory of this process that is in use now (`VmRSS`), or was at most (`VmHWM`).
inline long kilobytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) return std::atol(line.c_str() + key.size() + 1);
    }
    return 0;
}

/// Gives back what is free and starts the peak anew; what is in use then.
inline long forget_peak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
    return kilobytes("VmRSS");
}

/// Prints the least processor time of `passes` passes in nanoseconds, and by how many kilobytes the first one
/// raised the peak of the process's memory. A pass that gives false ends the program.
template <class Pass>
void measure(int passes, Pass pass) {
    double best = 1e9;
    const long before = forget_peak();
    long grown = 0;
    for (int i = 0; i < passes; ++i) {
        const double start = cpu_seconds();
        const bool good = pass();
        const double used = cpu_seconds() - start;
        if (!good) {
            std::fprintf(stderr, "a pass failed\n");
            std::exit(1);
        }
        if (used < best) best = used;
        if (i == 0) grown = kilobytes("VmHWM") - before;
    }
    std::printf("%.0f %ld\n", best * 1e9, grown);
}
