#include "tests/com/genicam/camera_parameters.h"

#include "genicam/VexGenParameter.h"

using namespace vex;

namespace client {
namespace {

class ParameterList : public ParameterTest {
protected:
    ParameterList()
    {
        Ref<CVexGenParameterList> made;
        EXPECT_EQ(server::create_object(made), S_OK);
        list = Ref<IVexGenParameterList>(made.get());
    }

    void add(const wchar_t* name) { EXPECT_EQ(list->Add(by_name(name).get()), S_OK); }
    unsigned int size() { return read(list, &IVexGenParameterList::get_Size); }
    Ref<IVexGenParameter> item(unsigned int index)
    {
        Ref<IVexGenParameter> found;
        EXPECT_EQ(list->GetItem(index, found.put()), S_OK);
        return found;
    }
    Ref<IVexGenParameter> step(HRESULT (STDMETHODCALLTYPE IVexGenParameterList::*how)(IVexGenParameter**))
    {
        Ref<IVexGenParameter> found;
        EXPECT_EQ((list.get()->*how)(found.put()), S_OK);
        return found;
    }
    Ref<IVexGenParameter> first() { return step(&IVexGenParameterList::GetFirst); }
    Ref<IVexGenParameter> next() { return step(&IVexGenParameterList::GetNext); }

    Ref<IVexGenParameterList> list;
};

TEST_F(ParameterList, StartsEmpty)
{
    EXPECT_EQ(size(), 0u);
    EXPECT_FALSE(first());
    EXPECT_FALSE(next());
    EXPECT_FALSE(item(0));
}

TEST_F(ParameterList, GivesNullPastTheLastItem)
{
    add(L"Width");
    EXPECT_TRUE(item(0));
    IVexGenParameter* found = reinterpret_cast<IVexGenParameter*>(1);
    EXPECT_EQ(list->GetItem(1, &found), S_OK);
    EXPECT_EQ(found, nullptr);
}

TEST_F(ParameterList, TakesParametersOfEveryKind)
{
    for (const wchar_t* name :
         {L"Width", L"Gain", L"Trigger", L"ReverseX", L"LookupTable", L"UserName", L"PixelFormat"}) {
        add(name);
        EXPECT_EQ(read_text(item(size() - 1), &IVexGenParameter::get_Name), name);
    }
    EXPECT_EQ(size(), 7u);
}

TEST_F(ParameterList, GivesTheSameObjectForAnIndexAndNewOnesForAWalk)
{
    add(L"Width");
    add(L"Gain");
    EXPECT_EQ(item(1).get(), item(1).get());

    const Ref<IVexGenParameter> walked = first();
    EXPECT_EQ(read_text(walked, &IVexGenParameter::get_Name), L"Width");
    EXPECT_NE(walked.get(), item(0).get());
    EXPECT_EQ(references(walked.get()), 1u) << "the caller alone owns what a walk gives";
    const Ref<IVexGenParameter> second = next();
    EXPECT_EQ(read_text(second, &IVexGenParameter::get_Name), L"Gain");
    EXPECT_FALSE(next());
    EXPECT_NE(first().get(), walked.get());
}

TEST_F(ParameterList, TakesAPlainParameterAsAnEmptyEntry)
{
    Ref<CVexGenParameter> plain;
    ASSERT_EQ(server::create_object(plain), S_OK);
    plain->AttachSdkObject(camera.array->Get("Width"));
    EXPECT_EQ(list->Add(plain.get()), S_OK);
    EXPECT_EQ(size(), 1u);
    EXPECT_FALSE(item(0));
    EXPECT_FALSE(first());
}

TEST_F(ParameterList, TakesNullAndForeignObjectsAsEmptyEntries)
{
    EXPECT_EQ(list->Add(nullptr), S_OK);
    EXPECT_EQ(size(), 1u);
    EXPECT_FALSE(item(0));
    // an object that another module might have made: its methods are not this module's
    const std::vector<const void*> methods_elsewhere(64);
    const void* object = methods_elsewhere.data();
    EXPECT_EQ(list->Add(reinterpret_cast<IVexGenParameter*>(&object)), S_OK);
    EXPECT_EQ(size(), 2u);
    EXPECT_FALSE(item(1));
}

TEST_F(ParameterList, KeepsTheObjectsOfItsIndexesWhenCleared)
{
    add(L"Width");
    const Ref<IVexGenParameter> width = item(0);
    EXPECT_EQ(list->Clear(), S_OK);
    EXPECT_EQ(size(), 0u);
    EXPECT_FALSE(item(0));
    add(L"WidthMax");
    EXPECT_EQ(item(0).get(), width.get()) << "an object of the same kind is pointed at the new parameter";
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_Name), L"WidthMax");
    EXPECT_EQ(list->Clear(), S_OK);
    add(L"Gain");
    EXPECT_NE(item(0).get(), width.get()) << "one of another kind is replaced";
}

TEST_F(ParameterList, GivesNullForParametersThatHaveGone)
{
    add(L"Width");
    add(L"Gain");
    EXPECT_TRUE(item(0));
    camera.array.reset();
    EXPECT_EQ(size(), 2u);
    EXPECT_FALSE(item(0)) << "one that was looked at before";
    EXPECT_FALSE(item(1));
    EXPECT_FALSE(first());
    EXPECT_FALSE(next());
}

TEST_F(ParameterList, LeavesTheClientsObjectsAloneWhenItGoes)
{
    add(L"Width");
    const Ref<IVexGenParameter> width = item(0);
    EXPECT_EQ(references(width.get()), 2u);
    list.reset();
    EXPECT_EQ(references(width.get()), 1u);
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_Name), L"Width");
}

}  // namespace
}  // namespace client
