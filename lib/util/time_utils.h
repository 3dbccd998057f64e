#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace Vorn {
namespace Time {

// Times are signed 32-bit seconds since the Unix epoch.
void local(int time, tm& out);
std::string ctime(int time);
std::string ctimePopped(int time);
int64_t useconds();
bool is_leap_year(int year);
// month counts from 0 (January); anything outside 0..11 gives 31.
int get_days_in_month(int year, int month);

}  // namespace Time
}  // namespace Vorn
