#pragma once

#include <cstdint>

// A duration. Copied by value; (1, -500000) and (0, 500000) are the same.
class CCmTimeValue {
  public:
    CCmTimeValue() = default;
    CCmTimeValue(long seconds, long microseconds) : m_seconds(seconds), m_microseconds(microseconds) {}

    // The whole duration in microseconds, held at the ends of the type instead of overflowing.
    int64_t totalMicroseconds() const;

    friend bool operator==(const CCmTimeValue& a, const CCmTimeValue& b) {
        return a.totalMicroseconds() == b.totalMicroseconds();
    }

  private:
    long m_seconds = 0;
    long m_microseconds = 0;
};

// The clock of measurements.
struct timer_policy {
    // Microseconds of a monotonic clock. An elapsed time in milliseconds is the difference of two readings, each
    // divided by 1000 first. Any thread.
    static unsigned long long now();

    // For tests: replaces the source of now; null puts the system's clock back. Takes effect for later readings.
    using Source = unsigned long long (*)();
    static void replace(Source source);
};
