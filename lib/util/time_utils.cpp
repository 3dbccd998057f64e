#include "vorn/util/time_utils.h"

#include <chrono>

namespace Vorn {
namespace Time {

void local(int time, tm& out) {
    const time_t wide = time;
    localtime_r(&wide, &out);
}

std::string ctime(int time) {
    const time_t wide = time;
    char buffer[64] = {};
    if (ctime_r(&wide, buffer) == nullptr) return std::string();
    return std::string(buffer);
}

std::string ctimePopped(int time) {
    std::string text = ctime(time);
    if (!text.empty()) text.pop_back();
    return text;
}

int64_t useconds() {
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(since_epoch).count() / 1000;
}

bool is_leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int get_days_in_month(int year, int month) {
    static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 0 || month > 11) return 31;
    if (month == 1 && is_leap_year(year)) return 29;
    return days[month];
}

}  // namespace Time
}  // namespace Vorn
