// String: shared text, printf formatting, numbers to and from text.
//
// A String refers to a block of characters that counts its references: copying shares the block, assigning replaces the
// reference. The default text, which is empty, has no block at all.
//
// Nothing here throws. Where memory is refused, a short text (up to kReserveText characters) is made in a small reserve
// of the program's own, so that an error can be told even then. An operation that returns a longer one, or one too
// many, returns the empty text; one that changes a text tells, and leaves it as it was.
#pragma once

#include <atomic>
#include <compare>
#include <cstdarg>
#include <cstddef>
#include <iosfwd>
#include <string_view>

#include "qor/core/ref_counted.h"

namespace qor {

static_assert(sizeof(long) == 8, "long is the 64-bit integer of the file format");

namespace impl {

/// What a String refers to: `length` characters and the zero after them.
class TextBlock : public IRefCounted {
 public:
    const char* chars;
    std::size_t length;

    /// How many characters this block has room for; 0 for a text that can never be changed in place.
    std::size_t capacity;

 protected:
    constexpr TextBlock(const char* text, std::size_t textLength, std::size_t room)
        : chars(text), length(textLength), capacity(room) {}
    ~TextBlock() = default;
};

}  // namespace impl

/// A text that stands in the program itself, for as long as the program runs: a String made of it takes no memory and
/// copies nothing.
///
///     constinit StaticText kNoSuchFile("No such file.");
class StaticText final : public impl::TextBlock {
 public:
    template <std::size_t Size>
    explicit consteval StaticText(const char (&literal)[Size]) : TextBlock(literal, Size - 1, 0) {}
    StaticText(const StaticText&) = delete;
    StaticText& operator=(const StaticText&) = delete;

    void incRef() override {}
    void decRef() override {}
};

/// A value handle to shared text: a run of 8-bit characters that `buf()` presents zero-terminated.
class String : public RefersTo<IRefCounted> {
 public:
    enum class Radix : unsigned { Decimal, Binary, Octal, Hexadecimal };

    /// The longest text that can be made even when the heap gives no memory.
    static constexpr std::size_t kReserveText = 200;

    /// The empty text.
    String() = default;

    /// Exactly `length` characters of `text`, or, for a length of 0, its characters up to the first zero byte. The
    /// empty text if `text` is null.
    String(const char* text, unsigned long length = 0);

    /// The text of `text`, shared and not copied.
    String(StaticText& text) : RefersTo(text.length > 0 ? &text : nullptr) {}

    String& operator=(const char* text);

    /// This text followed by the other; neither changes.
    String operator+(const char* text) const;
    String operator+(const String& text) const;

    /// The characters, with a zero after the last. Valid while this String lives and is not changed.
    const char* buf() const { return block() ? block()->chars : ""; }

    unsigned long length() const { return block() ? block()->length : 0; }
    bool isEmpty() const { return length() == 0; }
    std::string_view view() const { return block() ? std::string_view(block()->chars, block()->length) : ""; }

    /// Replaces the text with a copy of `text`, in the memory it has where nobody shares it and it is large enough.
    /// False, with the old text kept, if memory is refused. `text` may be part of this String's own text.
    bool assign(std::string_view text);

    /// Adds `text` at the end; room grows by doubling, so that many small additions are cheap. False, with the old text
    /// kept, if memory is refused. `text` may be part of this String's own text.
    bool append(std::string_view text);

    /// Replaces the text with `length` characters that are yet to be put where the result points. Null, with the old
    /// text kept, if memory is refused.
    char* makeRoom(std::size_t length);

    /// Drops the characters from `newLength` on. The memory they took stays with a text that nobody shares. False, with
    /// all of the text kept, if it is shared and memory is refused.
    bool truncate(std::size_t newLength);

    /// Replaces the text with what printf would print, which is the empty text if a conversion fails. False, with the
    /// old text kept, if memory is refused.
    [[gnu::format(printf, 2, 0)]] bool assignFormat(const char* fmt, std::va_list args);

    /// The text that printf would print; the empty text if a conversion fails.
    [[gnu::format(printf, 1, 2)]] static String format(const char* fmt, ...);
    [[gnu::format(printf, 1, 0)]] static String formatv(const char* fmt, std::va_list args);

    /// The text of a number, as number_text.h describes it. A character type gives its number, not its character.
    static String format(bool value);
    static String format(float value);
    static String format(double value);
    static String format(signed char value, Radix radix = Radix::Decimal);
    static String format(unsigned char value, Radix radix = Radix::Decimal);
    static String format(short value, Radix radix = Radix::Decimal);
    static String format(unsigned short value, Radix radix = Radix::Decimal);
    static String format(int value, Radix radix = Radix::Decimal);
    static String format(unsigned int value, Radix radix = Radix::Decimal);
    static String format(long value, Radix radix = Radix::Decimal);
    static String format(unsigned long value, Radix radix = Radix::Decimal);

    /// Reads the whole of `text` as one number, as number_text.h describes it. False, with `out` unchanged, if it is
    /// not one, is empty, or names a number that the type cannot hold.
    static bool parse(const String& text, bool& out);
    static bool parse(const String& text, float& out);
    static bool parse(const String& text, double& out);
    static bool parse(const String& text, signed char& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, unsigned char& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, short& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, unsigned short& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, int& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, unsigned int& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, long& out, Radix radix = Radix::Decimal);
    static bool parse(const String& text, unsigned long& out, Radix radix = Radix::Decimal);

    friend bool operator==(const String& a, const String& b) { return a.view() == b.view(); }
    friend bool operator==(const String& a, const char* b) { return a.view() == viewOf(b); }
    friend std::strong_ordering operator<=>(const String& a, const String& b) { return a.view() <=> b.view(); }
    friend std::strong_ordering operator<=>(const String& a, const char* b) { return a.view() <=> viewOf(b); }

 private:
    static String joined(std::string_view left, std::string_view right);
    static std::string_view viewOf(const char* text) { return text ? std::string_view(text) : std::string_view(); }

    impl::TextBlock* block() const { return static_cast<impl::TextBlock*>(get()); }
};

std::ostream& operator<<(std::ostream& out, const String& text);

}  // namespace qor
