#pragma once

#include <string>
#include <vector>

namespace tandrel::test {

/// For its life, this program finds a name at `addresses`, in this order, or nowhere. Works by a
/// `getaddrinfo` of the program's own, which all libraries in it call; so it is part of a test
/// program itself and of no library. One at a time; not while a look-up is under way.
class NamedHost {
public:
    NamedHost(std::string name, const std::vector<std::string>& addresses);
    /// Under a name of its own below "elsewhere.example", for Qt remembers for a minute where a
    /// name was found.
    explicit NamedHost(const std::vector<std::string>& addresses);
    ~NamedHost();
    NamedHost(const NamedHost&) = delete;
    NamedHost& operator=(const NamedHost&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }
    /// From now on the name is found elsewhere; nowhere without addresses.
    void moveTo(const std::vector<std::string>& addresses) const;
    /// How often the name has been looked up.
    [[nodiscard]] int lookUpCount() const;

private:
    std::string name_;
};

} // namespace tandrel::test
