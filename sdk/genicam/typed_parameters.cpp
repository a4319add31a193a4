// The operations of the parameter classes: each is one operation of the node.

#include <span>

#include "sdk/base/utf8.h"
#include "sdk/genicam/PvGenBoolean.h"
#include "sdk/genicam/PvGenCommand.h"
#include "sdk/genicam/PvGenFloat.h"
#include "sdk/genicam/PvGenInteger.h"
#include "sdk/genicam/PvGenRegister.h"
#include "sdk/genicam/PvGenString.h"
#include "sdk/genicam/parameter_internals.h"

using namespace vex;

PvResult PvGenInteger::GetValue(std::int64_t& aValue) const
{
    return run([&] { aValue = node_->int_value(); });
}

PvResult PvGenInteger::SetValue(std::int64_t aValue)
{
    return change([&] { node_->set_int_value(aValue); });
}

PvResult PvGenInteger::GetMin(std::int64_t& aMin) const
{
    return run([&] { aMin = node_->int_min(); });
}

PvResult PvGenInteger::GetMax(std::int64_t& aMax) const
{
    return run([&] { aMax = node_->int_max(); });
}

PvResult PvGenInteger::GetIncrement(std::int64_t& aIncrement) const
{
    return run([&] { aIncrement = node_->int_increment(); });
}

PvResult PvGenInteger::GetValidValues(std::vector<std::int64_t>& aValues) const
{
    return run([&] { aValues = node_->valid_int_values(); });
}

PvResult PvGenInteger::GetRepresentation(PvGenRepresentation& aRepresentation) const
{
    aRepresentation = genicam::representation_of(node_->representation());
    return PvResult::OK;
}

PvResult PvGenInteger::GetUnit(PvString& aUnit) const
{
    return run([&] { aUnit = PvString(node_->unit()); });
}

PvResult PvGenFloat::GetValue(double& aValue) const
{
    return run([&] { aValue = node_->float_value(); });
}

PvResult PvGenFloat::SetValue(double aValue)
{
    return change([&] { node_->set_float_value(aValue); });
}

PvResult PvGenFloat::GetMin(double& aMin) const
{
    return run([&] { aMin = node_->float_min(); });
}

PvResult PvGenFloat::GetMax(double& aMax) const
{
    return run([&] { aMax = node_->float_max(); });
}

PvResult PvGenFloat::GetRepresentation(PvGenRepresentation& aRepresentation) const
{
    aRepresentation = genicam::representation_of(node_->representation());
    return PvResult::OK;
}

PvResult PvGenFloat::GetUnit(PvString& aUnit) const
{
    return run([&] { aUnit = PvString(node_->unit()); });
}

PvResult PvGenBoolean::GetValue(bool& aValue) const
{
    return run([&] { aValue = node_->bool_value(); });
}

PvResult PvGenBoolean::SetValue(bool aValue)
{
    return change([&] { node_->set_bool_value(aValue); });
}

PvResult PvGenCommand::Execute()
{
    return change([&] { node_->execute(); });
}

PvResult PvGenCommand::IsDone(bool& aDone) const
{
    return run([&] { aDone = node_->is_done(); });
}

PvResult PvGenString::GetValue(PvString& aValue) const
{
    return run([&] { aValue = PvString(node_->string_value()); });
}

PvResult PvGenString::SetValue(const PvString& aValue)
{
    return change([&] { node_->set_string_value(without_surrogates(aValue.view())); });
}

PvResult PvGenString::GetMaxLength(std::int64_t& aMaxLength) const
{
    return run([&] { aMaxLength = node_->string_max_length(); });
}

PvResult PvGenRegister::GetLength(std::int64_t& aLength) const
{
    return run([&] { aLength = node_->register_length(); });
}

PvResult PvGenRegister::Get(std::uint8_t* aBuffer, std::int64_t aLength) const
{
    return run([&] {
        if (aLength < 0 || (aBuffer == nullptr && aLength != 0)) {
            throw GenApi::ValueError(std::string(node_->name()) + ": there is no buffer to read into");
        }
        node_->get_bytes({aBuffer, static_cast<std::size_t>(aLength)});
    });
}

PvResult PvGenRegister::Set(const std::uint8_t* aBuffer, std::int64_t aLength)
{
    return change([&] {
        if (aLength < 0 || (aBuffer == nullptr && aLength != 0)) {
            throw GenApi::ValueError(std::string(node_->name()) + ": there is no buffer to write");
        }
        node_->set_bytes({aBuffer, static_cast<std::size_t>(aLength)});
    });
}
