// The calls that CMakeLists.txt expects to be refused, as they are meant: all of them compile, with the same flags.
#include "values.h"

void write(qor::File& file) {
    file.write(number);
    file.write(constText);
    file.write(textPointer);
    file.write(text);
    file.write("text");
    file << number << constText << textPointer << text << "text" << 'x' << true << 1.0;
}

void read(qor::File& file) {
    file.read(number);
    file.read(text[0]);
    file.read(bytes[0]);
    file >> number >> text[0] >> bytes[0];
}

bool openAndClose(qor::File& file) { return file.open("a.bin", Mode::Write, Format::Binary) && file.close(); }

void print(qor::File& file) {
    file.print("%d %s %5.2f", 7, constText, 1.5);
    file.printLn("%ld", 7L);
    file.print("text");
}

void arrays(qor::File& file) {
    file << qor::bufRef(std::span(numbers)) << qor::bufRef(std::span(constNumbers));
    file << qor::bufRef(std::span(points), &Point::x) << qor::bufRef(std::span(constPoints), &Point::x);
    file << qor::bufRef(qor::scalarsOf(std::span(places)));
    file.write(qor::bufRef(std::span(constNumbers)), false);
    file.read(qor::bufRef(std::span(numbers)));
    file >> qor::bufRef(std::span(numbers)) >> qor::bufRef(std::span(points), &Point::x);
    qor::BufRef ref = qor::bufRef(qor::scalarsOf(std::span(places)));
    file >> ref;
    file << ref;
    const qor::BufRef constant = ref;
    file.read(constant);
    file.write(constant, true);
}
