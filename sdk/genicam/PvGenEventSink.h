// PvGenEventSink: whoever wants to know when a parameter changes derives from this.
#pragma once

class PvGenParameter;

class PvGenEventSink {
public:
    virtual ~PvGenEventSink() = default;

    /// The parameter's value, limits or access may have changed. Runs on the thread whose operation caused the change,
    /// with no lock held: the parameter and its array may be used. Exceptions are swallowed.
    virtual void OnParameterUpdate(PvGenParameter* aParameter) { static_cast<void>(aParameter); }
};
