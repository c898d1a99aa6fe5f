#pragma once

namespace ovalin {

class Accessibility;
class Notifier;
class UserDefaults;

/// This desktop's form of asking for the accessibility permission: where toolkits do not expose themselves, a
/// notification with a button offers to turn that on. Once for every user, never silently. Main thread; does not wait.
void offerAccessibility(Accessibility& accessibility, Notifier& notifier, UserDefaults& defaults);

} // namespace ovalin
