// StringIO: the string builder.
#pragma once

#include "qor/core/string.h"

namespace qor {

/// Text that grows at its end. Copies share their text until one of them changes. Where memory is refused the text
/// stays as it was; `append` tells.
class StringIO {
 public:
    /// Replaces the content.
    StringIO& operator=(const String& newText) {
        text = newText;
        return *this;
    }

    /// Appends the characters of `more` up to its zero; nothing if it is null.
    StringIO& operator<<(const char* more) {
        if (more) append(more);
        return *this;
    }

    /// Appends `more`. False, with the content kept, if memory is refused.
    bool append(std::string_view more) { return text.append(more); }

    /// The content, zero-terminated. Valid while this StringIO lives and is not changed.
    const char* buf() const { return text.buf(); }
    bool isEmpty() const { return text.isEmpty(); }

 private:
    String text;
};

}  // namespace qor
