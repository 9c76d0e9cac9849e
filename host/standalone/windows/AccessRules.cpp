#include "host/standalone/windows/AccessRules.h"

namespace standalone::detail {

namespace {

bool isTrusted(PSID who, PSID user) {
    return ::EqualSid(who, user) != 0 || ::IsWellKnownSid(who, WinLocalSystemSid) != 0 ||
           ::IsWellKnownSid(who, WinBuiltinAdministratorsSid) != 0;
}

/// Whether an entry gives no access to anybody else.
bool isHarmless(ACE_HEADER* entry, PSID user) {
    if (entry->AceType == ACCESS_DENIED_ACE_TYPE || (entry->AceFlags & INHERIT_ONLY_ACE) != 0) {
        return true;
    }
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE) {
        return false;  // entries with conditions and similar, which only the system can judge
    }
    const PSID who = &reinterpret_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
    return isTrusted(who, user) || ::IsWellKnownSid(who, WinCreatorOwnerRightsSid) != 0;
}

bool isClosedToOthers(ACL* list, PSID user) {
    if (list == nullptr) {
        return false;  // no list: everybody has full access
    }
    for (DWORD number = 0; number < list->AceCount; ++number) {
        void* entry = nullptr;
        if (::GetAce(list, number, &entry) == 0 ||
            !isHarmless(static_cast<ACE_HEADER*>(entry), user)) {
            return false;
        }
    }
    return true;
}

}  // namespace

Exposure exposureOf(void* descriptor, PSID user) {
    PSID owner = nullptr;
    ACL* list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    if (::GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) == 0 || owner == nullptr ||
        !isTrusted(owner, user)) {
        return Exposure::otherOwner;
    }
    const bool isClosed =
        ::GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) != 0 && present != 0 &&
        isClosedToOthers(list, user);
    return isClosed ? Exposure::none : Exposure::openToOthers;
}

}  // namespace standalone::detail
