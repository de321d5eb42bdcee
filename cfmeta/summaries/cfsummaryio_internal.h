// The reading and writing steps every class of the summary tree is made of, so that each class
// reads as the list of its attributes and children.
//
// A class lists its attributes and children once, in a member template Exchange(io, self) that
// runs with a SummaryReader (self non-const) and with a SummaryWriter (self const): the two
// offer the same steps under the same names, reading into or writing from the same members.
//
// Both helpers are sticky: the first step that fails marks the whole object failed and every
// later step does nothing, so reading stops at the first violation and a writer never attaches
// a half-built element. Not installed.
#ifndef CFMETA_SUMMARIES_CFSUMMARYIO_INTERNAL_H_
#define CFMETA_SUMMARIES_CFSUMMARYIO_INTERNAL_H_

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/summaries/cfsummaryoptional.h"
#include "cfmeta/xml/cfxmliteratorwrapper.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace cfmeta_internal {

using OptionalDouble = CFSummaryOptional<double>;
using OptionalInt64 = CFSummaryOptional<long long>;
using OptionalText = CFSummaryOptional<std::string>;

// Whether an attribute or child must be there, on reading and on writing alike.
enum class Need { Optional, Required };

// Deep copies of owned children; absent ones stay absent.
template <typename T>
std::unique_ptr<T> DeepCopy(const std::unique_ptr<T>& from) {
  return from == nullptr ? nullptr : std::unique_ptr<T>(new T(*from));
}
template <typename T>
std::vector<std::unique_ptr<T>> DeepCopy(const std::vector<std::unique_ptr<T>>& from) {
  std::vector<std::unique_ptr<T>> copy;
  copy.reserve(from.size());
  for (const auto& item : from) copy.push_back(DeepCopy(item));
  return copy;
}

// True for the texts of XMLEntities::True and XMLEntities::False, compared exactly.
bool IsFlagText(const std::string& text);

class SummaryReader {
 public:
  explicit SummaryReader(const CfExtension::CFXMLWrapper& element) : m_element(element) {}

  // False once any step has failed.
  bool ok() const { return m_ok; }
  // Fails the reader when `condition` is false; `rule` says what was broken, in one sentence.
  SummaryReader& Check(bool condition, const char* rule);

  // Present, a double must read and be a finite number.
  SummaryReader& Double(const char* name, OptionalDouble& out, Need need = Need::Optional);
  // Present, an integer must read and be at least `minimum`.
  SummaryReader& Int64(const char* name, OptionalInt64& out, Need need,
                       long long minimum = LLONG_MIN);
  // A count that is -1 when absent and otherwise must not be negative.
  SummaryReader& Count(const char* name, long long& out);
  SummaryReader& Text(const char* name, OptionalText& out, Need need);
  // Any text, empty when absent.
  SummaryReader& Text(const char* name, std::string& out);
  // Required and not empty.
  SummaryReader& NonEmptyText(const char* name, std::string& out);
  // Empty when absent; present, the text of XMLEntities::True or XMLEntities::False.
  SummaryReader& FlagText(const char* name, std::string& out);
  // Unchanged when absent; present, XMLEntities::True or XMLEntities::False as a bool.
  SummaryReader& Flag(const char* name, bool& out);

  // The first direct child named `name`, read as a T; a child that does not parse fails.
  template <typename T>
  SummaryReader& FirstChild(const char* name, std::unique_ptr<T>& out, Need need) {
    if (!m_ok) return *this;
    CfExtension::CFXMLWrapper* child = nullptr;
    if (!First(name, child)) return Fail("its children cannot be read");
    if (child == nullptr) return need == Need::Optional ? *this : MissingChild(name);
    std::unique_ptr<T> read(new T(*child));
    child->releaseHandedOut();
    if (!read->parseSuccess()) return Fail(child, name);
    out = std::move(read);
    return *this;
  }
  // Fails when there is a direct child named `name`.
  SummaryReader& NoChild(const char* name);
  // Every direct child named `name`, in document order; the first that does not parse fails
  // the list and is not kept.
  template <typename T>
  SummaryReader& Children(const char* name, std::vector<std::unique_ptr<T>>& out) {
    if (!m_ok) return *this;
    CfExtension::CFXMLIteratorWrapper* it = nullptr;
    if (m_element.getElementDirectIterator(name, &it) != 0) {
      return Fail("its children cannot be read");
    }
    while (CfExtension::CFXMLWrapper* child = it->nextElement()) {
      std::unique_ptr<T> read(new T(*child));
      // A long list holds only what its current child still uses.
      child->releaseHandedOut();
      if (!read->parseSuccess()) return Fail(child, name);
      out.push_back(std::move(read));
    }
    return *this;
  }

 private:
  const CfExtension::CFXMLWrapper& m_element;
  bool m_ok = true;

  // Fails the reader, recording `rule` against this element for a load report.
  SummaryReader& Fail(const std::string& rule);
  // Fails the reader for a child that did not read; the child's own reader named the rule,
  // and when it did not, this names the child.
  SummaryReader& Fail(const CfExtension::CFXMLWrapper* child, const char* name);
  SummaryReader& MissingChild(const char* name);
  // False when the children cannot be iterated; else `child` is the first match or null.
  bool First(const char* name, CfExtension::CFXMLWrapper*& child) const;
};

class SummaryWriter {
 public:
  // Starts a free element named `name` in `parent`'s document.
  SummaryWriter(CfExtension::CFXMLWrapper& parent, const char* name)
      : m_element(parent.createFreeElement(name)), m_ok(m_element != nullptr) {}

  SummaryWriter& Check(bool condition);
  // The reader's form: a writer has no one to tell the rule to.
  SummaryWriter& Check(bool condition, const char* /*rule*/) { return Check(condition); }

  // Written when given; a required one that is not given fails.
  SummaryWriter& Double(const char* name, const OptionalDouble& value, Need need = Need::Optional);
  // As Double; a value below `minimum` fails.
  SummaryWriter& Int64(const char* name, const OptionalInt64& value, Need need,
                       long long minimum = LLONG_MIN);
  // Written only when 0 or more.
  SummaryWriter& Count(const char* name, long long value);
  SummaryWriter& Text(const char* name, const OptionalText& value, Need need);
  // Written only when not empty.
  SummaryWriter& Text(const char* name, const std::string& value);
  // Fails when empty.
  SummaryWriter& NonEmptyText(const char* name, const std::string& value);
  // Written only when not empty, and then it must be the text of XMLEntities::True or False.
  SummaryWriter& FlagText(const char* name, const std::string& value);
  // Always written, as the text of XMLEntities::True or XMLEntities::False.
  SummaryWriter& Flag(const char* name, bool value);

  // The child's element, when `child` is present; a required child that is absent, or one
  // that creates nothing, fails. `name` is the child's element name, which it writes itself.
  template <typename T>
  SummaryWriter& FirstChild(const char* /*name*/, const std::unique_ptr<T>& child, Need need) {
    if (child == nullptr) return Check(need == Need::Optional);
    return Child(child.get());
  }
  // Each child in order; one that creates nothing fails.
  template <typename T>
  SummaryWriter& Children(const char* /*name*/, const std::vector<std::unique_ptr<T>>& children) {
    for (const auto& child : children) Child(child.get());
    return *this;
  }

  // Attaches the element as the last child of `parent` when every step succeeded; otherwise
  // `created` is null and `parent` is as it was.
  void AttachTo(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created);

 private:
  std::unique_ptr<CfExtension::CFXMLWrapper> m_element;
  bool m_ok;

  // A null child, or one that creates nothing, fails.
  template <typename T>
  SummaryWriter& Child(const T* child) {
    if (!m_ok) return *this;
    CfExtension::CFXMLWrapper* created = nullptr;
    if (child != nullptr) child->AddToTree(*m_element, created);
    return Check(created != nullptr);
  }
};

// Reads `element` by running `exchange` with a reader; true when every step succeeded.
template <typename Exchange>
bool ReadSummary(const CfExtension::CFXMLWrapper& element, Exchange exchange) {
  SummaryReader io(element);
  exchange(io);
  return io.ok();
}

// Builds the element `name` by running `exchange` with a writer, and attaches it to `parent`
// only when every step succeeded.
template <typename Exchange>
void WriteSummary(CfExtension::CFXMLWrapper& parent, const char* name,
                  CfExtension::CFXMLWrapper*& created, Exchange exchange) {
  SummaryWriter io(parent, name);
  exchange(io);
  io.AttachTo(parent, created);
}

}  // namespace cfmeta_internal

#endif  // CFMETA_SUMMARIES_CFSUMMARYIO_INTERNAL_H_
