#pragma once

namespace tandrel {

/// While one of these lives, assistive technology hears asterisks instead of the characters that
/// are typed into masked fields. Qt 6.4 withholds a masked field's text when it is asked for, but
/// spells it out in the events of each change, on a bus that any program of the user can read.
/// Main thread.
class MaskedTextEvents {
public:
    MaskedTextEvents();
    ~MaskedTextEvents();
    MaskedTextEvents(const MaskedTextEvents&) = delete;
    MaskedTextEvents& operator=(const MaskedTextEvents&) = delete;
};

} // namespace tandrel
