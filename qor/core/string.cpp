// String: shared text. Its blocks, and where their memory comes from, stand first.
#include "qor/core/string.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <ostream>

#include "qor/core/number_text.h"

namespace qor {
namespace {

// A block on the heap, or in the reserve, with its characters right behind it.
class HeapText final : public impl::TextBlock {
 public:
    /// A block with room for `room` characters, empty and without a reference. Null if the memory is refused.
    static HeapText* make(std::size_t room);

    void incRef() override { references.fetch_add(1, std::memory_order_relaxed); }
    void decRef() override;

    bool isShared() const { return references.load(std::memory_order_acquire) != 1; }
    char* text() { return reinterpret_cast<char*>(this + 1); }
    void endAt(std::size_t newLength) {
        length = newLength;
        text()[newLength] = '\0';
    }

 private:
    HeapText(std::size_t room, std::atomic<bool>* slotTaken)
        : TextBlock(reinterpret_cast<char*>(this + 1), 0, room), slot(slotTaken) {
        text()[0] = '\0';
    }
    ~HeapText() = default;

    std::atomic<std::int64_t> references = 0;
    std::atomic<bool>* const slot;  // what to clear when a block in the reserve goes; null on the heap
};

// Memory for short texts when the heap refuses, so that the reason of a failure can be told even when the reason is
// that there is no memory. A File keeps one text, so this is enough for as many files and a few copies.
constexpr std::size_t kReserveSlots = 64;

struct ReserveSlot {
    alignas(HeapText) unsigned char memory[sizeof(HeapText) + String::kReserveText + 1];
    std::atomic<bool> taken;
};
constinit ReserveSlot reserve[kReserveSlots] = {};

HeapText* HeapText::make(std::size_t room) {
    if (room > PTRDIFF_MAX - sizeof(HeapText) - 1) return nullptr;
    if (void* memory = ::operator new(sizeof(HeapText) + room + 1, std::nothrow)) {
        return new (memory) HeapText(room, nullptr);
    }
    if (room > String::kReserveText) return nullptr;
    for (ReserveSlot& slot : reserve) {
        if (!slot.taken.exchange(true, std::memory_order_acquire)) {
            return new (slot.memory) HeapText(room, &slot.taken);
        }
    }
    return nullptr;
}

void HeapText::decRef() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    std::atomic<bool>* const taken = slot;
    this->~HeapText();
    if (taken) {
        taken->store(false, std::memory_order_release);
    } else {
        ::operator delete(this);
    }
}

// The block of a String, if it may be changed in place: it is no part of the program, and nobody else refers to it.
HeapText* ownBlock(impl::TextBlock* block) {
    if (!block || block->capacity == 0) return nullptr;
    HeapText* const own = static_cast<HeapText*>(block);
    return own->isShared() ? nullptr : own;
}

constexpr int baseOf(String::Radix radix) {
    switch (radix) {
        case String::Radix::Binary:
            return 2;
        case String::Radix::Octal:
            return 8;
        case String::Radix::Hexadecimal:
            return 16;
        default:
            return 10;
    }
}

template <typename T>
String numberText(T value, String::Radix radix = String::Radix::Decimal) {
    char text[kMaxNumberText];
    const char* const end = formatNumber(text, value, baseOf(radix));
    return String(text, static_cast<unsigned long>(end - text));
}

template <typename T>
bool parseText(const String& text, T& out, String::Radix radix = String::Radix::Decimal) {
    return parseNumber(text.view(), out, baseOf(radix));
}

}  // namespace

String::String(const char* text, unsigned long length) {
    assign(text && length > 0 ? std::string_view(text, length) : viewOf(text));
}

String& String::operator=(const char* text) {
    if (!assign(viewOf(text))) *this = String();
    return *this;
}

String String::operator+(const char* text) const { return joined(view(), viewOf(text)); }
String String::operator+(const String& text) const { return joined(view(), text.view()); }

String String::joined(std::string_view left, std::string_view right) {
    String both;
    if (char* to = both.makeRoom(left.size() + right.size())) {
        left.copy(to, left.size());
        right.copy(to + left.size(), right.size());
    }
    return both;
}

bool String::assign(std::string_view text) {
    if (text.empty()) {
        *this = String();
        return true;
    }
    HeapText* const own = ownBlock(block());
    if (own && own->capacity >= text.size()) {
        std::memmove(own->text(), text.data(), text.size());
        own->endAt(text.size());
        return true;
    }
    String copy;
    char* const to = copy.makeRoom(text.size());
    if (!to) return false;
    text.copy(to, text.size());
    *this = copy;
    return true;
}

bool String::append(std::string_view text) {
    if (text.empty()) return true;
    const std::size_t before = length();
    HeapText* const own = ownBlock(block());
    if (own && own->capacity - before >= text.size()) {
        std::memmove(own->text() + before, text.data(), text.size());
        own->endAt(before + text.size());
        return true;
    }
    String grown;
    char* to = grown.makeRoom(std::max(before + text.size(), before * 2));
    if (!to) to = grown.makeRoom(before + text.size());
    if (!to) return false;
    view().copy(to, before);
    text.copy(to + before, text.size());
    grown.truncate(before + text.size());
    *this = grown;
    return true;
}

char* String::makeRoom(std::size_t length) {
    HeapText* const made = HeapText::make(length);
    if (!made) return nullptr;
    made->endAt(length);
    static_cast<RefersTo&>(*this) = RefersTo(made);
    return made->text();
}

bool String::truncate(std::size_t newLength) {
    if (newLength >= length()) return true;
    HeapText* const own = ownBlock(block());
    if (!own || newLength == 0) return assign(view().substr(0, newLength));
    own->endAt(newLength);
    return true;
}

String String::format(const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    String text = formatv(fmt, args);
    va_end(args);
    return text;
}

String String::formatv(const char* fmt, std::va_list args) {
    String text;
    text.assignFormat(fmt, args);
    return text;
}

bool String::assignFormat(const char* fmt, std::va_list args) {
    char small[256];
    std::va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(small, sizeof(small), fmt, args);
    const auto room = static_cast<std::size_t>(std::max(length, 0));
    bool done = true;
    if (room < sizeof(small)) {
        done = assign(std::string_view(small, room));
    } else {
        String text;
        char* const to = text.makeRoom(room);
        if (to) {
            if (std::vsnprintf(to, room + 1, fmt, again) != length) text = String();
            *this = text;
        }
        done = to != nullptr;
    }
    va_end(again);
    return done;
}

String String::format(bool value) { return numberText(value); }
String String::format(float value) { return numberText(value); }
String String::format(double value) { return numberText(value); }
String String::format(signed char value, Radix radix) { return numberText(value, radix); }
String String::format(unsigned char value, Radix radix) { return numberText(value, radix); }
String String::format(short value, Radix radix) { return numberText(value, radix); }
String String::format(unsigned short value, Radix radix) { return numberText(value, radix); }
String String::format(int value, Radix radix) { return numberText(value, radix); }
String String::format(unsigned int value, Radix radix) { return numberText(value, radix); }
String String::format(long value, Radix radix) { return numberText(value, radix); }
String String::format(unsigned long value, Radix radix) { return numberText(value, radix); }

bool String::parse(const String& text, bool& out) { return parseText(text, out); }
bool String::parse(const String& text, float& out) { return parseText(text, out); }
bool String::parse(const String& text, double& out) { return parseText(text, out); }
bool String::parse(const String& text, signed char& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, unsigned char& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, short& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, unsigned short& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, int& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, unsigned int& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, long& out, Radix radix) { return parseText(text, out, radix); }
bool String::parse(const String& text, unsigned long& out, Radix radix) { return parseText(text, out, radix); }

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.view(); }

}  // namespace qor
