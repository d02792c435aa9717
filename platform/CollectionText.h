// Text forms of ordered maps and sets, and of pointers to entities: {key: value, ...}, [a, b], and
// the entity's full name in quotes, or None.
#pragma once

#include "platform/Entity.h"
#include "platform/Exception.h"
#include "platform/RbTreeMap.h"
#include "platform/Value.h"

namespace Zet {

// Appends `open`, each member of `items` as `append(item)` writes it, and `close`.
template <class Items, class Append>
void itemsToStrep(std::string & out, char open, Items const & items, char close, Append append) {
  out += open;
  bool first = true;
  for (auto const & item : items) {
    if (!first) out += ", ";
    first = false;
    append(item);
  }
  out += close;
}

// Reads what itemsToStrep writes, one `read()` a member.
template <class Read>
void strepToItems(StrepReader & reader, std::string_view open, std::string_view close, Read read) {
  reader.literal(open);
  if (reader.skip(close)) return;
  do {
    read();
  } while (reader.skip(", "));
  reader.literal(close);
}

template <class K, class V> void valueToStrep(std::string & out, RbTreeMap<K, V> const & map) {
  itemsToStrep(out, '{', map.items(), '}', [&](auto const & item) {
    valueToStrep(out, item.key);
    out += ": ";
    valueToStrep(out, item.value);
  });
}
template <class K> void valueToStrep(std::string & out, RbTreeMap<K, bool> const & set) {
  itemsToStrep(out, '[', set.items(), ']', [&](K const & key) { valueToStrep(out, key); });
}

template <class K, class V> void strepToValue(StrepReader & reader, RbTreeMap<K, V> & map) {
  map.clear();
  strepToItems(reader, "{", "}", [&] {
    K key{};
    strepToValue(reader, key);
    reader.literal(": ");
    strepToValue(reader, map.at(key));
  });
}
template <class K> void strepToValue(StrepReader & reader, RbTreeMap<K, bool> & set) {
  set.clear();
  strepToItems(reader, "[", "]", [&] {
    K key{};
    strepToValue(reader, key);
    set.insert(key);
  });
}

template <std::derived_from<Entity> T> void valueToStrep(std::string & out, Ptr<T> const & entity) {
  if (entity) {
    quotedToStrep(out, entity->fullName());
  } else {
    out += "None";
  }
}

// A member is found again with this input. Throws RangeException if it holds another one.
template <class T>
void requireSameMember(char const * attribute, T const & wanted, T const & held) {
  if (wanted == held) return;
  throwReinstantiatingMember(attribute, valueToStrep(wanted), valueToStrep(held));
}

}  // namespace Zet
