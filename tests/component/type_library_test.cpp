#include "component/library.h"

#include <gmock/gmock.h>

#include <vector>

namespace varnel::test {
namespace {

std::string Narrow(BSTR text) {
  const std::wstring wide(text, SysStringLen(text));
  SysFreeString(text);
  return {wide.begin(), wide.end()};
}

class TypeLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(S_OK, LoadTypeLibEx(Library::Path().c_str(), REGKIND_NONE, library.Put()));
  }

  ComPtr<ITypeInfo> Type(UINT index) {
    ComPtr<ITypeInfo> type;
    EXPECT_EQ(S_OK, library->GetTypeInfo(index, type.Put()));
    return type;
  }

  ComPtr<ITypeLib> library;
};

struct MethodRow {
  std::string name;
  MEMBERID id;
  int slot;
  std::string help;

  bool operator==(const MethodRow&) const = default;
};

void PrintTo(const MethodRow& row, std::ostream* out) {
  *out << row.name << " id " << row.id << " slot " << row.slot << " '" << row.help << "'";
}

// The methods that the interface itself declares, in order.
std::vector<MethodRow> MethodsOf(ITypeInfo* dispatchHalf) {
  std::vector<MethodRow> rows;
  HREFTYPE reference = 0;
  ComPtr<ITypeInfo> vtableHalf;
  EXPECT_EQ(S_OK, dispatchHalf->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
  EXPECT_EQ(S_OK, dispatchHalf->GetRefTypeInfo(reference, vtableHalf.Put()));
  TYPEATTR* attributes = nullptr;
  EXPECT_EQ(S_OK, vtableHalf->GetTypeAttr(&attributes));
  EXPECT_EQ(TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION,
            attributes->wTypeFlags & (TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FNONEXTENSIBLE));
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function = nullptr;
    EXPECT_EQ(S_OK, vtableHalf->GetFuncDesc(i, &function));
    BSTR name = nullptr;
    BSTR help = nullptr;
    EXPECT_EQ(S_OK, vtableHalf->GetDocumentation(function->memid, &name, &help, nullptr, nullptr));
    rows.push_back(
        {Narrow(name), function->memid, function->oVft / static_cast<int>(sizeof(void*)), Narrow(help)});
    vtableHalf->ReleaseFuncDesc(function);
  }
  vtableHalf->ReleaseTypeAttr(attributes);
  return rows;
}

TEST_F(TypeLibraryTest, IsTheContractsLibrary) {
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
  EXPECT_EQ(LIBID_VARNELLib, attributes->guid);
  EXPECT_EQ(1, attributes->wMajorVerNum);
  EXPECT_EQ(0, attributes->wMinorVerNum);
  library->ReleaseTLibAttr(attributes);
  BSTR name = nullptr;
  BSTR help = nullptr;
  ASSERT_EQ(S_OK, library->GetDocumentation(-1, &name, &help, nullptr, nullptr));
  EXPECT_EQ("VARNELLib", Narrow(name));
  EXPECT_EQ("varnel 1.0 Type Library", Narrow(help));
}

TEST_F(TypeLibraryTest, DescribesNineTypesInOrder) {
  struct {
    const char* name;
    const char* help;
    TYPEKIND kind;
    const GUID& guid;
  } const expected[] = {
      {"_IOrbaEventInfEvents", "_IOrbaEventEvents Interface", TKIND_DISPATCH, DIID__IOrbaEventInfEvents},
      {"IEventElement", "IEventElement Interface", TKIND_DISPATCH, IID_IEventElement},
      {"IOrbaEventInf", "IOrbaEvent Interface", TKIND_DISPATCH, IID_IOrbaEventInf},
      {"IOrbaEventInf2", "IOrbaEventInf2 Interface", TKIND_DISPATCH, IID_IOrbaEventInf2},
      {"IOrbaEventInf3", "IOrbaEventInfCallback Interface", TKIND_DISPATCH, IID_IOrbaEventInf3},
      {"IOrbaEventInfCallback", "IOrbaEventInfCallback Interface", TKIND_DISPATCH, IID_IOrbaEventInfCallback},
      {"OrbaEventInf", "OrbaEvent Class", TKIND_COCLASS, CLSID_OrbaEventInf},
      {"EventElement", "EventElement Class", TKIND_COCLASS, CLSID_EventElement},
      {"OrbaEventInfCallback", "OrbaEventInfCallback Class", TKIND_COCLASS, CLSID_OrbaEventInfCallback},
  };
  ASSERT_EQ(std::size(expected), library->GetTypeInfoCount());
  for (UINT i = 0; i < std::size(expected); ++i) {
    SCOPED_TRACE(expected[i].name);
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_EQ(S_OK, library->GetDocumentation(static_cast<INT>(i), &name, &help, nullptr, nullptr));
    EXPECT_EQ(expected[i].name, Narrow(name));
    EXPECT_EQ(expected[i].help, Narrow(help));
    const auto type = Type(i);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, type->GetTypeAttr(&attributes));
    EXPECT_EQ(expected[i].kind, attributes->typekind);
    EXPECT_EQ(expected[i].guid, attributes->guid);
    // A library written with a broken reference to IDispatch shows here.
    if (expected[i].kind == TKIND_DISPATCH) {
      HREFTYPE reference = 0;
      ComPtr<ITypeInfo> base;
      EXPECT_EQ(S_OK, type->GetRefTypeOfImplType(0, &reference));
      EXPECT_EQ(S_OK, type->GetRefTypeInfo(reference, base.Put()));
      TYPEATTR* baseAttributes = nullptr;
      ASSERT_EQ(S_OK, base->GetTypeAttr(&baseAttributes));
      EXPECT_EQ(IID_IDispatch, baseAttributes->guid);
      base->ReleaseTypeAttr(baseAttributes);
    }
    type->ReleaseTypeAttr(attributes);
  }
}

TEST_F(TypeLibraryTest, MethodsKeepTheirSlotsAndDispids) {
  using Rows = std::vector<MethodRow>;
  EXPECT_EQ((Rows{{"SetAttributeString", 5, 7, ""},
                  {"SetAttributeInt", 6, 8, ""},
                  {"AppendElement", 8, 9, ""},
                  {"AddElementInto", 9, 10, ""}}),
            MethodsOf(Type(1).Get()));
  EXPECT_EQ((Rows{{"Initialize", 1, 7, "method Initialize"},
                  {"DeInitialize", 2, 8, "method DeInitialize"},
                  {"GetMachineElement", 3, 9, "method GetMachineNode"},
                  {"GetSoftwareElement", 4, 10, "method GetSoftwareNode"},
                  {"CreateEventElement", 5, 11, "method CreateEventElement"},
                  {"Save", 6, 12, "method Save"},
                  {"CreateMachineElement", 7, 13, "method CreateMachineElement"}}),
            MethodsOf(Type(2).Get()));
  EXPECT_EQ((Rows{{"GetMachineElement", 8, 14, ""},
                  {"GetSoftwareElement", 9, 15, ""},
                  {"CreateEventElement", 10, 16, ""},
                  {"SaveAgentEventOnly", 11, 17, ""}}),
            MethodsOf(Type(3).Get()));
  EXPECT_EQ((Rows{{"Initialize3", 12, 18, ""}}), MethodsOf(Type(4).Get()));
  EXPECT_EQ((Rows{{"RegisterOrbaEventCallBack", 1, 7, ""}}), MethodsOf(Type(5).Get()));
}

TEST_F(TypeLibraryTest, EventObjectHasItsNewestInterfaceAsDefaultAndOneSource) {
  const auto coclass = Type(6);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(S_OK, coclass->GetTypeAttr(&attributes));
  EXPECT_EQ(4, attributes->cImplTypes);
  EXPECT_NE(0, attributes->wTypeFlags & TYPEFLAG_FCANCREATE);
  const int expected[] = {0, 0, IMPLTYPEFLAG_FDEFAULT, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE};
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    INT flags = -1;
    EXPECT_EQ(S_OK, coclass->GetImplTypeFlags(i, &flags));
    EXPECT_EQ(expected[i], flags) << i;
  }
  coclass->ReleaseTypeAttr(attributes);
}

}  // namespace
}  // namespace varnel::test
