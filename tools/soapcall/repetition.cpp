// SPDX-License-Identifier: MIT
#include "repetition.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

std::string milliseconds(Repetition::Clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(time).count());
    return text;
}

}  // namespace

void Repetition::add(Clock::duration time) {
    times_.push_back(time);
    if (bar_ != nullptr) draw();
}

void Repetition::draw() {
    constexpr int kWidth = 40;
    const int percent = static_cast<int>(times_.size() * 100 / count_);
    if (percent == drawn_) return;
    drawn_ = percent;
    const auto full = static_cast<std::size_t>(percent * kWidth / 100);
    *bar_ << "\r[" << std::string(full, '=') << std::string(kWidth - full, ' ') << "] " << times_.size()
          << '/' << count_;
    if (times_.size() == count_) *bar_ << '\n';
    bar_->flush();
}

void Repetition::summarise(std::ostream& out) {
    if (times_.empty()) return;
    const double seconds = std::chrono::duration<double>(Clock::now() - begun_).count();
    std::sort(times_.begin(), times_.end());
    const auto at = [this](std::size_t percent) { return times_[(times_.size() - 1) * percent / 100]; };
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.0f", static_cast<double>(times_.size()) / seconds);
    if (bar_ != nullptr && times_.size() < count_) *bar_ << '\n';
    out << times_.size() << (times_.size() == 1 ? " call, " : " calls, ") << rate << " a second; least "
        << milliseconds(times_.front()) << ", middle " << milliseconds(at(50)) << ", 90 % within "
        << milliseconds(at(90)) << ", 99 % within " << milliseconds(at(99)) << ", longest "
        << milliseconds(times_.back()) << '\n';
}
