// The values of which each call in CMakeLists.txt takes one. None of the calls is ever run.
#pragma once

#include <atomic>
#include <span>
#include <string>
#include <vector>

#include "qor/file/qor_file.h"

using Mode = qor::File::Mode;
using Format = qor::File::Format;

struct Point {
    int x;
    int norm() const;
    std::string name;
};
struct Other {
    int z;
};
enum Switch : bool { kOff, kOn };

void function();
int functionOfTwo(int, char);

inline void* voidPointer = nullptr;
inline const void* constVoidPointer = nullptr;
inline int* intPointer = nullptr;
inline const int* constIntPointer = nullptr;
inline unsigned char* bytePointer = nullptr;
inline const unsigned char* constBytePointer = nullptr;
inline signed char* signedBytePointer = nullptr;
inline char** pointerToText = nullptr;
inline volatile char* volatileText = nullptr;
inline Point* objectPointer = nullptr;
inline qor::File* filePointer = nullptr;
inline void (*functionPointer)() = function;
inline std::atomic<int*> atomicPointer = nullptr;
inline auto lambda = [] { return 1; };
inline int Point::*dataMember = &Point::x;
inline int (Point::*memberFunction)() const = &Point::norm;

inline unsigned char bytes[4] = {};
inline const unsigned char constBytes[4] = {};
inline int ints[4] = {};
inline char text[4] = {};
inline char* textPointer = text;
inline const char* constText = text;

inline wchar_t wide = L'x';
inline char8_t utf8 = u8'x';
inline char16_t utf16 = u'x';
inline char32_t utf32 = U'x';
inline long double extended = 1;
inline Switch onOff = kOn;
inline int number = 0;

inline std::vector<int> numbers;
inline const std::vector<int> constNumbers;
inline std::vector<Point> points;
inline const std::vector<Point> constPoints;
inline std::vector<Other> others;
inline std::vector<int*> pointers;
inline std::vector<std::string> texts;
inline std::vector<long double> longDoubles;
inline std::vector<wchar_t> wideCharacters;
inline std::vector<qor::math::Vec3f> places;
