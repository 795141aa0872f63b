// The ten zones of the zone sweeps: zones whose rules from 1970 to 2021 are the same in the older
// data that ICU 72 carries as in today's, chosen for what is odd about them.
#pragma once

namespace ztp::test {

inline constexpr const char* sweepZones[] = {
    "America/New_York",     // the rules of 1974, 1987 and 2007
    "America/St_Johns",     // half an hour off; two hours of summer time in 1988; changes at 00:01
    "America/Sao_Paulo",    // changes at midnight, so days that begin at 01:00; none since 2019
    "Europe/London",        // summer time all year round until 1971
    "Europe/Moscow",        // changes of the standard time itself, up and down
    "Africa/Casablanca",    // clocks that go back for Ramadan, on other days every year
    "Asia/Kathmandu",       // one change of a quarter of an hour, in 1986
    "Australia/Lord_Howe",  // summer time of half an hour
    "Pacific/Auckland",     // summer in the south
    "Pacific/Apia",         // went without 30 December 2011
};

}  // namespace ztp::test
