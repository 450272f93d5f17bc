#pragma once

#include <string>

// The text type that trace sites stream.
using CCmString = std::string;

// Builds a text in a buffer of the caller's, which must outlive it; owns nothing. Nothing is ever written past the
// capacity, the text is NUL-terminated after every step, and what does not fit is cut. A null buffer or a capacity of 0
// gives the empty text. Used by one thread at a time.
//
// The text is the same on every system and in every locale: integers in plain decimal; float and double with 6
// significant digits as printf's "%g", and "nan", "inf" or "-inf"; pointers as "0x" and 16 lower-case hex digits. A
// null text is "(null)"; a string ends at its first NUL.
class CCmTextFormator {
  public:
    CCmTextFormator(char* buffer, unsigned capacity);
    virtual ~CCmTextFormator() = default;
    CCmTextFormator(const CCmTextFormator&) = delete;
    CCmTextFormator& operator=(const CCmTextFormator&) = delete;

    CCmTextFormator& operator<<(const char* text);
    CCmTextFormator& operator<<(const CCmString& text);
    CCmTextFormator& operator<<(int value);
    CCmTextFormator& operator<<(unsigned value);
    CCmTextFormator& operator<<(long value);
    CCmTextFormator& operator<<(unsigned long value);
    CCmTextFormator& operator<<(unsigned long long value);
    CCmTextFormator& operator<<(float value);
    CCmTextFormator& operator<<(double value);
    CCmTextFormator& operator<<(void* pointer);

    // The text built so far; never null. Valid as long as both the buffer and the formatter are.
    operator char*() { return m_buffer; }
    // Characters built so far, without the terminator.
    unsigned tell() const { return m_length; }

  private:
    void append(const char* text, size_t length);

    char m_empty[1] = {0};  // stands in for a buffer that cannot hold even the terminator
    char* m_buffer;
    unsigned m_capacity;
    unsigned m_length = 0;
};
