#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace varnelle {

/// A list with value semantics whose copies share their storage until one of them is changed (copy on write),
/// so that a snapshot of a document costs references only. Reading copies from several threads is safe;
/// changing one isn't.
template <typename Element>
class SharedList {
public:
    SharedList() = default;
    SharedList(std::initializer_list<Element> elements) : SharedList(std::vector<Element>(elements)) {}
    SharedList(
        std::vector<Element> elements)  // NOLINT(google-explicit-constructor): a list is a vector by value
        : storage_(elements.empty() ? nullptr : std::make_shared<std::vector<Element>>(std::move(elements))) {
    }

    [[nodiscard]] const std::vector<Element>& elements() const {
        static const std::vector<Element> none;
        return storage_ ? *storage_ : none;
    }
    [[nodiscard]] auto begin() const { return elements().begin(); }
    [[nodiscard]] auto end() const { return elements().end(); }
    [[nodiscard]] std::size_t size() const { return elements().size(); }
    [[nodiscard]] bool empty() const { return elements().empty(); }
    [[nodiscard]] const Element& operator[](std::size_t index) const { return elements()[index]; }
    [[nodiscard]] const Element& front() const { return elements().front(); }
    [[nodiscard]] const Element& back() const { return elements().back(); }

    /// The elements for changing them: a private copy if they were shared.
    [[nodiscard]] std::vector<Element>& mutableElements() {
        if (!storage_) {
            storage_ = std::make_shared<std::vector<Element>>();
        } else if (storage_.use_count() > 1) {
            storage_ = std::make_shared<std::vector<Element>>(*storage_);
        }
        return *storage_;
    }
    void append(Element element) { mutableElements().push_back(std::move(element)); }

    [[nodiscard]] bool sharesStorage(const SharedList& other) const { return storage_ == other.storage_; }
    friend bool operator==(const SharedList& a, const SharedList& b) {
        return a.storage_ == b.storage_ || a.elements() == b.elements();
    }

private:
    std::shared_ptr<std::vector<Element>> storage_;
};

}  // namespace varnelle
