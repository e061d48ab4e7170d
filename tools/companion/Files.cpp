#include "Files.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/rand.h>

#include <array>
#include <chrono>
#include <fstream>
#include <sstream>

namespace companion {

std::string readFile(const Path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) throw Failure(fmt::format("{} cannot be read.", path.native()));
    return content.str();
}

void writeFile(const Path& path, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    const Path partial = path.parent_path() / ("." + path.filename().native() + ".part");
    std::ofstream file(partial, std::ios::binary);
    file << bytes;
    file.close();
    if (!file) throw Failure(fmt::format("{} cannot be written.", path.native()));
    std::filesystem::rename(partial, path);
}

void copyFile(const Path& from, const Path& to) { writeFile(to, readFile(from)); }

Json readJson(const Path& path) {
    try {
        return Json::parse(readFile(path));
    } catch (const Json::exception& error) {
        throw Failure(fmt::format("{} is not JSON: {}", path.native(), error.what()));
    }
}

std::string newIdentifier() {
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw Failure("There are no random numbers.");
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += fmt::format("{:02X}", bytes[i]);
    }
    return text;
}

double secondsSince2001() {
    constexpr double from1970To2001 = 978'307'200;
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
               .count() -
           from1970To2001;
}

std::string iso8601Now() {
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(now));
}

}  // namespace companion
