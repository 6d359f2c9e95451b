#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::test {

/// What the makers of the program do to publish a version: keys and feeds by `scripts/release`, in
/// a folder of its own that goes with this object.
class ReleaseScript {
public:
    ReleaseScript();
    ~ReleaseScript();
    ReleaseScript(const ReleaseScript&) = delete;
    ReleaseScript& operator=(const ReleaseScript&) = delete;

    struct Outcome {
        int exitCode = -1;
        std::string text;
    };
    /// Runs the script with `arguments`, and says what it printed, errors included.
    [[nodiscard]] static Outcome run(const std::vector<std::string>& arguments);

    /// A new private key's file.
    [[nodiscard]] std::filesystem::path makeKey(const std::string& name) const;
    [[nodiscard]] static std::string publicKey(const std::filesystem::path& key);
    /// A package with those bytes.
    [[nodiscard]] std::filesystem::path makePackage(const std::string& bytes) const;
    /// A feed with one version of the program, signed by `keys`; its text.
    [[nodiscard]] std::string makeFeed(const std::string& version,
                                       const std::vector<std::filesystem::path>& keys,
                                       const std::string& url, const std::string& bytes) const;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

private:
    std::filesystem::path folder_;
};

} // namespace tandrel::test
