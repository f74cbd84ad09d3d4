// What the scanner hands on while it scans: the text of each token that carries a value,
// and the errors it finds in the statement. The parse tree is the sink of a parse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class CScanSink {
public:
    // A token with a value (a word, number, quoted text, date or time, case state) has been
    // scanned: text[0, length) is its value, valid only during the call.
    virtual void ScannedValue(int32_t code, const char* text, size_t length) = 0;
    // Whether an error text would still be kept. Only the first error of a statement
    // counts, so the scanner composes its error text only when this is true.
    virtual bool WantsError() const = 0;
    virtual void ScanError(const std::string& text) = 0;

protected:
    ~CScanSink() = default;
};
