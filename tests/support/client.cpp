// Control requests built byte by byte for tests.
#include "tests/support/client.h"

namespace testsupport {

Bytes request(uint8_t type, const std::vector<Bytes>& fields) {
    Bytes out = {0xB1, 0xFB, 0, 0, type, 1, static_cast<uint8_t>(fields.size()), 0};
    for (const Bytes& field : fields) {
        out.insert(out.end(), {static_cast<uint8_t>(field.size()),
                               static_cast<uint8_t>(field.size() >> 8), 0, 0});
        out.insert(out.end(), field.begin(), field.end());
        out.resize((out.size() + 3) / 4 * 4);
    }
    out[2] = static_cast<uint8_t>(out.size());
    out[3] = static_cast<uint8_t>(out.size() >> 8);
    return out;
}

Bytes bareMessage(uint8_t type, uint8_t code) {
    return {0xB1, 0xFB, 8, 0, type, code, 0, 0};
}

Bytes int32Field(int32_t value) {
    auto v = static_cast<uint32_t>(value);
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}

Bytes wideField(const std::string& text) {
    Bytes out;
    for (char c : text)
        out.insert(out.end(), {static_cast<uint8_t>(c), 0, 0, 0});
    return out;
}

Bytes loadPlaylistRequest(const std::string& path, bool stopCurrent) {
    return request(48, {wideField(path), Bytes{uint8_t(stopCurrent)}});
}

Bytes playModeRequest(uint8_t mode) {
    return request(49, {Bytes{mode}});
}

} // namespace testsupport
