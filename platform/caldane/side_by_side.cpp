// SPDX-License-Identifier: MIT
#include <caldane/side_by_side.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <exception>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <caldane/exceptions.h>
#include <caldane/soa.h>

namespace {

using Clock = std::chrono::steady_clock;

/// The calls that are left to be made, and what came of those that were.
class Work {
public:
    Work(std::size_t calls, const std::function<void()>& one_call) : left(calls), call(one_call) {}

    void take_part() {
        std::vector<Clock::duration> own;
        try {
            while (take_one()) {
                const Clock::time_point begin = Clock::now();
                call();
                own.push_back(Clock::now() - begin);
            }
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (!failure) failure = std::current_exception();
            left = 0;
        }
        const std::lock_guard lock(mutex);
        times.insert(times.end(), own.begin(), own.end());
    }

    std::exception_ptr failure;
    std::vector<Clock::duration> times;

private:
    bool take_one() {
        std::size_t count = left.load();
        while (count != 0 && !left.compare_exchange_weak(count, count - 1)) {
        }
        return count != 0;
    }

    std::atomic<std::size_t> left;
    const std::function<void()>& call;
    std::mutex mutex;
};

std::string in_milliseconds(Clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(time).count());
    return text;
}

}  // namespace

double Caldane::CallTimes::per_second() const {
    const double seconds = std::chrono::duration<double>(in_all).count();
    return seconds > 0 ? static_cast<double>(calls) / seconds : 0;
}

std::ostream& Caldane::operator<<(std::ostream& out, const CallTimes& times) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.0f", times.per_second());
    return out << times.calls << (times.calls == 1 ? " call, " : " calls, ") << rate << " a second; least "
               << in_milliseconds(times.least) << ", middle " << in_milliseconds(times.middle)
               << ", 99 % within " << in_milliseconds(times.most_of_100) << ", longest "
               << in_milliseconds(times.longest);
}

Caldane::CallTimes Caldane::call_side_by_side(std::size_t threads, std::size_t calls,
                                              const std::function<void()>& call) {
    constexpr char kConnections[] = "SOAP_CLIENT_CONNECTIONS";
    if (threads > 1 && SOA::getProperties().get(kConnections) == nullptr)
        SOA::getProperties().set(kConnections, std::to_string(threads));
    Work work(calls, call);
    const Clock::time_point begin = Clock::now();
    {
        std::vector<std::jthread> others;
        for (std::size_t i = 1; i < threads; ++i) others.emplace_back([&work] { work.take_part(); });
        work.take_part();
    }
    CallTimes result;
    result.in_all = Clock::now() - begin;
    if (work.failure) std::rethrow_exception(work.failure);
    result.calls = work.times.size();
    if (work.times.empty()) return result;
    std::sort(work.times.begin(), work.times.end());
    const auto at = [&work](std::size_t percent) {
        return work.times[(work.times.size() - 1) * percent / 100];
    };
    result.least = work.times.front();
    result.middle = at(50);
    result.most_of_100 = at(99);
    result.longest = work.times.back();
    return result;
}

std::size_t Caldane::take_threads(int& argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) != "--threads") continue;
        const std::string_view word = i + 1 < argc ? argv[i + 1] : "";
        std::size_t threads = 0;
        const auto read = std::from_chars(word.data(), word.data() + word.size(), threads);
        if (read.ptr != word.data() + word.size() || word.empty() || threads < 1 || threads > 10'000)
            throw SetupError("--threads takes a number from 1 to 10000, not '" + std::string(word) + "'");
        std::copy(argv + i + 2, argv + argc + 1, argv + i);
        argc -= 2;
        return threads;
    }
    return 0;
}
