#include "tests/com/genicam/camera_parameters.h"

namespace client {
namespace {

using TypedParameters = ParameterTest;

TEST_F(TypedParameters, IntegerHasValueLimitsAndRepresentation)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    EXPECT_EQ(read(width, &IVexGenInteger::get_Value), 640);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Min), 8);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Max), 1024);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Increment), 8);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Representation), VexGenRepresentationPureNumber);
    EXPECT_EQ(width->put_Value(320), S_OK);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Value), 320);
}

TEST_F(TypedParameters, IntegerRaisesAnErrorForAValueOutOfRange)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    EXPECT_EQ(width->put_Value(1032), DISP_E_EXCEPTION);
    const ErrorFacts error = take_error();
    EXPECT_NE(error.description.find(L"Width"), std::wstring::npos);
    EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexGenInteger.1");
    EXPECT_EQ(error.interface_id, __uuidof(IVexGenInteger));
    EXPECT_EQ(read(width, &IVexGenInteger::get_Value), 640);
    EXPECT_EQ(width->put_Value(321), DISP_E_EXCEPTION) << "not a multiple of the increment";
}

TEST_F(TypedParameters, IntegerRaisesAnErrorForAReadOnlyAndAnUnreadableParameter)
{
    EXPECT_EQ(integer(L"WidthMax")->put_Value(8), DISP_E_EXCEPTION);
    EXPECT_FALSE(take_error().description.empty());
    __int64 value = 5;
    EXPECT_EQ(integer(L"Hidden")->get_Value(&value), DISP_E_EXCEPTION);
    EXPECT_EQ(value, 0) << "the value is written all the same";
    EXPECT_EQ(integer(L"Absent")->get_Value(&value), DISP_E_EXCEPTION);
}

TEST_F(TypedParameters, IntegerRaisesWhatTheCameraAnswers)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    camera.port.refuse(true);
    EXPECT_EQ(width->put_Value(320), DISP_E_EXCEPTION);
    EXPECT_NE(take_error().description.find(L"does not answer"), std::wstring::npos);
}

TEST_F(TypedParameters, FloatHasValueLimitsRepresentationAndUnit)
{
    const Ref<IVexGenFloat> gain = floating(L"Gain");
    EXPECT_EQ(gain->put_Value(1.5), S_OK);
    EXPECT_EQ(read(gain, &IVexGenFloat::get_Value), 1.5);
    EXPECT_EQ(read(gain, &IVexGenFloat::get_Min), -10);
    EXPECT_EQ(read(gain, &IVexGenFloat::get_Max), 20);
    EXPECT_EQ(read(gain, &IVexGenFloat::get_Representation), VexGenRepresentationLinear);
    EXPECT_EQ(read_text(gain, &IVexGenFloat::get_Unit), L"dB");
    EXPECT_EQ(gain->put_Value(20.5), DISP_E_EXCEPTION);
    const ErrorFacts error = take_error();
    EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexGenFloat.1");
    EXPECT_EQ(error.interface_id, __uuidof(IVexGenFloat));
}

TEST_F(TypedParameters, BooleanReadsTrueAsOneAndTakesAnyTrue)
{
    const Ref<IVexGenBoolean> reverse = boolean(L"ReverseX");
    EXPECT_EQ(read(reverse, &IVexGenBoolean::get_Value), 0);
    EXPECT_EQ(reverse->put_Value(VARIANT_TRUE), S_OK);
    EXPECT_EQ(read(reverse, &IVexGenBoolean::get_Value), 1);
    EXPECT_EQ(camera.port.at(0x10F), 1);
    EXPECT_EQ(reverse->put_Value(VARIANT_FALSE), S_OK);
    EXPECT_EQ(read(reverse, &IVexGenBoolean::get_Value), 0);
    EXPECT_EQ(reverse->put_Value(1), S_OK);
    EXPECT_EQ(read(reverse, &IVexGenBoolean::get_Value), 1);
    EXPECT_EQ(camera.port.at(0x10F), 1);
}

TEST_F(TypedParameters, CommandIsNotDoneWhileTheCameraRunsIt)
{
    const Ref<IVexGenCommand> trigger = command(L"Trigger");
    Ref<IVexResult> result;
    EXPECT_EQ(trigger->Execute(result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(camera.port.at(0x123), 1);
    EXPECT_EQ(read(trigger, &IVexGenCommand::get_IsDone), 0);
    camera.port.at(0x123) = 0;
    EXPECT_EQ(read(trigger, &IVexGenCommand::get_IsDone), 1);
}

TEST_F(TypedParameters, CommandReportsFailureInTheResultObject)
{
    const Ref<IVexGenCommand> trigger = command(L"Trigger");
    camera.port.refuse(true);
    Ref<IVexResult> result;
    EXPECT_EQ(trigger->Execute(result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexNetworkError);
    VARIANT_BOOL done = 7;
    EXPECT_EQ(trigger->get_IsDone(&done), DISP_E_EXCEPTION);
    EXPECT_EQ(take_error().source, L"VexKamCOMWrapper.VexGenCommand.1");
}

TEST_F(TypedParameters, StringTakesNullAsEmpty)
{
    const Ref<IVexGenString> name = text(L"UserName");
    EXPECT_EQ(name->put_Value(Text(L"Käfer")), S_OK);
    EXPECT_EQ(read_text(name, &IVexGenString::get_Value), L"Käfer");
    EXPECT_EQ(name->put_Value(nullptr), S_OK);
    EXPECT_EQ(read_text(name, &IVexGenString::get_Value), L"");
    EXPECT_EQ(camera.port.at(0x140), 0);
    EXPECT_EQ(read(name, &IVexGenString::get_MaxLength), 16);
    EXPECT_EQ(name->put_Value(Text(L"longer than sixteen bytes")), DISP_E_EXCEPTION);
    EXPECT_EQ(take_error().source, L"VexKamCOMWrapper.VexGenString.1");
}

TEST_F(TypedParameters, RegisterTransfersTheWholeArray)
{
    const Ref<IVexGenRegister> table = bytes(L"LookupTable");
    EXPECT_EQ(read(table, &IVexGenRegister::get_Length), 4);
    Ref<IVexResult> result;
    EXPECT_EQ(table->Set(Bytes({1, 2, 3, 4}), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(camera.port.at(0x163), 4);
    const Bytes read_back({0, 0, 0, 0});
    EXPECT_EQ(table->Get(read_back, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(read_back.values(), (std::vector<unsigned char>{1, 2, 3, 4}));
}

TEST_F(TypedParameters, RegisterCountsAnArrayFromZeroWhateverItsLowerBound)
{
    const Ref<IVexGenRegister> table = bytes(L"LookupTable");
    Ref<IVexResult> result;
    // bounds 1 to 4: five bytes, one more than the register has
    const Bytes from_one({9, 9, 9, 9}, 1);
    EXPECT_EQ(table->Set(from_one, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_EQ(table->Get(from_one, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_EQ(from_one.values(), (std::vector<unsigned char>{9, 9, 9, 9}));
    // bounds 1 to 3: four bytes, of which the array holds three
    camera.port.at(0x160) = 1;
    camera.port.at(0x161) = 2;
    camera.port.at(0x162) = 3;
    camera.port.at(0x163) = 4;
    const Bytes three({9, 9, 9}, 1);
    EXPECT_EQ(table->Get(three, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(three.values(), (std::vector<unsigned char>{1, 2, 3}));
}

TEST_F(TypedParameters, RegisterLeavesTheArraysSizeToTheSdk)
{
    const Ref<IVexGenRegister> table = bytes(L"LookupTable");
    Ref<IVexResult> result;
    EXPECT_EQ(table->Set(Bytes({1, 2, 3, 4, 5, 6}), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_EQ(camera.port.at(0x160), 0);
}

TEST_F(TypedParameters, RegisterRefusesANullArrayWithoutAResult)
{
    const Ref<IVexGenRegister> table = bytes(L"LookupTable");
    Ref<IVexResult> result;
    EXPECT_TRUE(FAILED(table->Get(nullptr, result.put())));
    EXPECT_FALSE(result);
    EXPECT_TRUE(FAILED(table->Set(nullptr, result.put())));
    EXPECT_FALSE(result);
}

}  // namespace
}  // namespace client
