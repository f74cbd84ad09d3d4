#include "objectmodel/resources.h"

#include "objectmodel/module.h"

void LoadResourceText(std::string& target, UINT id) {
    const HINSTANCE module = CModule::ResourceInstance();
    // String tables come in blocks of 16 entries; without the block there is no entry.
    if (!FindResourceA(module, MAKEINTRESOURCEA(id / 16 + 1), RT_STRING)) return;
    std::string buffer;
    for (int size = 256; size <= 1536; size += 256) {
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

void AssignResourceText(std::string& target, UINT id) {
    target.clear();
    LoadResourceText(target, id);
}
