#include "objectmodel/resources.h"

#include "objectmodel/module.h"

namespace {

// String tables come in blocks of 16 entries, block n + 1 holding ids 16n to 16n + 15.
constexpr UINT kStringsPerBlock = 16;
// An entry is read into a buffer grown in steps up to the longest entry taken.
constexpr int kBufferStep = 256;
constexpr int kLargestBuffer = 1536;

} // namespace

void LoadResourceText(std::string& target, UINT id) {
    const HINSTANCE module = CModule::ResourceInstance();
    // Without the block there is no entry.
    if (!FindResourceA(module, MAKEINTRESOURCEA(id / kStringsPerBlock + 1), RT_STRING)) return;
    std::string buffer;
    for (int size = kBufferStep; size <= kLargestBuffer; size += kBufferStep) {
        buffer.resize(static_cast<size_t>(size));
        const int length = LoadStringA(module, id, &buffer[0], size);
        if (length <= 0) return;
        if (length + 1 < size) {
            target.assign(buffer.data(), static_cast<size_t>(length));
            return;
        }
        // The entry filled the buffer and may have been cut: try a larger one.
    }
}
