// Request builders for tests: header, then each field with its length and fill.
#include "tests/support/requests.h"

namespace testsupport {

Bytes request(uint8_t type, const std::vector<Bytes>& fields) {
    Bytes out = {0xB1, 0xFB, 0, 0, type, 1, static_cast<uint8_t>(fields.size()), 0};
    for (const Bytes& field : fields) {
        out.push_back(static_cast<uint8_t>(field.size()));
        out.push_back(static_cast<uint8_t>(field.size() >> 8));
        out.push_back(0);
        out.push_back(0);
        out.insert(out.end(), field.begin(), field.end());
        while (out.size() % 4)
            out.push_back(0);
    }
    out[2] = static_cast<uint8_t>(out.size());
    out[3] = static_cast<uint8_t>(out.size() >> 8);
    return out;
}

Bytes int32Field(int32_t value) {
    uint32_t v = static_cast<uint32_t>(value);
    return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
            static_cast<uint8_t>(v >> 24)};
}

Bytes wideField(const std::string& text) {
    Bytes out;
    for (char c : text)
        out.insert(out.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    return out;
}

Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent) {
    return request(48, {wideField(path), Bytes{static_cast<uint8_t>(stopCurrent ? 1 : 0)}});
}

Bytes playModeRequest(uint8_t mode) {
    return request(49, {Bytes{mode}});
}

Bytes nextRequest() {
    return request(50, {});
}

Bytes displayRequest(int32_t width, int32_t height, int32_t left, int32_t top, uint8_t rotation) {
    return request(32, {int32Field(width), int32Field(height), int32Field(left), int32Field(top),
                        Bytes{rotation}});
}

} // namespace testsupport
