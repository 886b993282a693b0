/// Not installed: internal to the library.
///
/// For what a call changes for its own time only.
#pragma once

namespace Ostrel {

/// Gives a variable its value back at the end of a scope, also when that is left by an exception or a cancellation.
template <class T>
class RestoredValue
{
public:
    explicit RestoredValue(T& variable) : _variable(variable), _before(variable) {}
    RestoredValue(T& variable, T meanwhile) : RestoredValue(variable) { variable = meanwhile; }
    ~RestoredValue() { _variable = _before; }
    RestoredValue(const RestoredValue&) = delete;
    RestoredValue& operator=(const RestoredValue&) = delete;

private:
    T& _variable;
    const T _before;
};

} // namespace Ostrel
