#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

namespace velm::bench {

/// One Xerces SAX2 parser that is used again and again, with a handler that does nothing. Throws
/// std::runtime_error for a document that is not well-formed.
class ReusedParser {
public:
    ReusedParser();
    ReusedParser(const ReusedParser&) = delete;
    ReusedParser& operator=(const ReusedParser&) = delete;
    ~ReusedParser();

    void parse(std::string_view document);
    void parseFile(const std::filesystem::path& file);

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace velm::bench
