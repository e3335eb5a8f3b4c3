#include "ldap/modlist.h"

#include <configapi/internals.h>
#include <ldap.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "base/ascii.h"
#include "base/heap_text.h"

namespace configapi {
namespace {

// A caller may have filled a field to its last byte.
std::string_view field_text(std::span<const char> field) {
  return {field.data(), strnlen(field.data(), field.size())};
}

std::size_t count_records(const attrval* list) {
  std::size_t count = 0;
  for (; list != nullptr && list->next != nullptr; list = list->next) {
    ++count;
  }
  return count;
}

// Null, or one without a type, when memory is out.
LDAPMod* new_mod(int op, std::string_view type) {
  auto mod = heap_record<LDAPMod>();
  if (mod != nullptr) {
    mod->mod_op = op | LDAP_MOD_BVALUES;
    mod->mod_type = heap_copy(type).release();
  }
  return mod.release();
}

// False when memory is out; what was allocated hangs on mod then.
bool append_value(LDAPMod* mod, std::string_view text) {
  std::size_t count = 0;
  while (mod->mod_bvalues != nullptr && mod->mod_bvalues[count] != nullptr) {
    ++count;
  }
  auto** values = static_cast<berval**>(
      std::realloc(mod->mod_bvalues, (count + 2) * sizeof(BerValue*)));
  if (values == nullptr) {
    return false;
  }
  mod->mod_bvalues = values;
  values[count] = heap_record<berval>().release();
  values[count + 1] = nullptr;
  if (values[count] == nullptr) {
    return false;
  }
  values[count]->bv_len = text.size();
  values[count]->bv_val = heap_copy(text).release();
  return values[count]->bv_val != nullptr;
}

LDAPMod* find_type(LDAPMod** mods, std::string_view type) {
  for (; *mods != nullptr; ++mods) {
    const std::string_view present((*mods)->mod_type);
    if (std::ranges::equal(present, type, {}, ascii_lower, ascii_lower)) {
      return *mods;
    }
  }
  return nullptr;
}

enum class Types { kRepeat, kOnce };

// An op of -1 takes each record's own. Null for a list without values and when
// memory is out.
ModsPtr build(const attrval* list, int op, Types types) {
  const std::size_t count = count_records(list);
  if (count == 0) {
    return nullptr;
  }
  ModsPtr mods(
      static_cast<LDAPMod**>(std::calloc(count + 1, sizeof(LDAPMod*))));
  if (mods == nullptr) {
    return nullptr;
  }
  LDAPMod** end = mods.get();
  for (; list->next != nullptr; list = list->next) {
    const std::string_view type = field_text(list->name);
    LDAPMod* mod =
        types == Types::kOnce ? find_type(mods.get(), type) : nullptr;
    if (mod == nullptr) {
      mod = new_mod(op == -1 ? list->op : op, type);
      *end++ = mod;
    }
    if (mod == nullptr || mod->mod_type == nullptr ||
        !append_value(mod, field_text(list->value))) {
      return nullptr;
    }
  }
  return mods;
}

}  // namespace

ModsPtr get_addlist(const attrval* list) {
  return build(list, LDAP_MOD_ADD, Types::kOnce);
}

}  // namespace configapi

extern "C" LDAPMod** get_modlist(attrval* list, int op) {
  return configapi::build(list, op, configapi::Types::kRepeat).release();
}

extern "C" void free_modlist(LDAPMod** mods) {
  if (mods == nullptr) {
    return;
  }
  for (LDAPMod** slot = mods; *slot != nullptr; ++slot) {
    free_berval((*slot)->mod_bvalues);
    std::free((*slot)->mod_type);
    std::free(*slot);
  }
  std::free(mods);
}

extern "C" void free_berval(berval** values) {
  if (values == nullptr) {
    return;
  }
  for (berval** slot = values; *slot != nullptr; ++slot) {
    std::free((*slot)->bv_val);
    std::free(*slot);
  }
  std::free(values);
}
