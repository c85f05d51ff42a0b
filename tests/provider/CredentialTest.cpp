#include "LoadedProvider.h"

#include <objbase.h>

namespace {

struct Tile {
    Tile() : provider(dll.Create())
    {
        REQUIRE(provider->SetUsageScenario(CPUS_UNLOCK_WORKSTATION, 0) == S_OK);
        credential = CredentialOf(*provider);
    }

    std::wstring Caption() const
    {
        PWSTR text = nullptr;
        REQUIRE(credential->GetStringValue(1, &text) == S_OK);
        std::wstring caption = text;
        CoTaskMemFree(text);
        return caption;
    }

    LoadedProvider dll;
    Owned<ICredentialProvider> provider;
    Owned<ICredentialProviderCredential> credential;
};

TEST_CASE("the tile's fields, and the refusal of those it has not")
{
    Tile tile;
    const auto& credential = tile.credential;
    CREDENTIAL_PROVIDER_FIELD_STATE state{};
    auto interactive = CPFIS_FOCUSED;
    for (const DWORD id : {0, 1}) {
        CHECK(credential->GetFieldState(id, &state, &interactive) == S_OK);
        CHECK((state == CPFS_DISPLAY_IN_BOTH && interactive == CPFIS_NONE));
    }
    CHECK(credential->GetFieldState(2, &state, &interactive) == E_INVALIDARG);
    CHECK(credential->GetFieldState(0, nullptr, &interactive) == E_INVALIDARG);
    CHECK(credential->GetFieldState(0, &state, nullptr) == E_INVALIDARG);

    PWSTR text = nullptr;
    CHECK(credential->GetStringValue(2, &text) == E_INVALIDARG);
    CHECK(credential->GetStringValue(1, nullptr) == E_INVALIDARG);
    for (const DWORD id : {0, 1, 2})
        CHECK(credential->SetStringValue(id, L"other") == E_INVALIDARG);
    CHECK(tile.Caption() == L"FingerPrint");

    HBITMAP bitmap = nullptr;
    CHECK(credential->GetBitmapValue(1, &bitmap) == E_INVALIDARG);
    CHECK(credential->GetBitmapValue(0, nullptr) == E_INVALIDARG);
    tile.dll.FailNext("LoadBitmapW", ERROR_RESOURCE_NAME_NOT_FOUND);
    CHECK(credential->GetBitmapValue(0, &bitmap) == HRESULT(0x80070716));
    CHECK(bitmap == nullptr);
    REQUIRE(credential->GetBitmapValue(0, &bitmap) == S_OK);
    BITMAP image{};
    CHECK(GetObjectW(bitmap, sizeof image, &image) == sizeof image);
    CHECK((image.bmWidth == 266 && image.bmHeight == 266));
    DeleteObject(bitmap);

    BOOL flag = TRUE;
    CHECK(credential->SetSelected(&flag) == S_OK);
    CHECK(flag == FALSE);
    CHECK(credential->SetDeselected() == E_NOTIMPL);
}

TEST_CASE("references to the tile and its sink, and a tile that outlives its provider")
{
    Tile tile;
    void* object = nullptr;
    REQUIRE(tile.credential->QueryInterface(IID_IUnknown, &object) == S_OK);
    CHECK(object == tile.credential.get());
    CHECK(tile.credential->Release() == 2);
    CHECK(tile.credential->QueryInterface(IID_ICredentialProvider, &object) == E_NOINTERFACE);
    CHECK(object == nullptr);

    // The tile keeps its sink and tells it nothing, so that IUnknown is all it needs.
    CountingSink<IUnknown> older;
    CountingSink<IUnknown> sink;
    const auto advise = [&](IUnknown& events) {
        return tile.credential->Advise(reinterpret_cast<ICredentialProviderCredentialEvents*>(&events));
    };
    CHECK(tile.credential->UnAdvise() == S_OK);
    CHECK(advise(older) == S_OK);
    CHECK(older.references == 1);
    CHECK(advise(sink) == S_OK);
    CHECK(older.references == 0);
    CHECK(sink.references == 1);
    CHECK(tile.credential->UnAdvise() == S_OK);
    CHECK(sink.references == 0);

    tile.provider.reset();
    CHECK(tile.dll.CanUnloadNow() == S_FALSE);
    CHECK(tile.Caption() == L"FingerPrint");
    tile.dll.TakeDebugTexts();
    tile.credential.reset();
    CHECK(tile.dll.TakeDebugTexts() == DebugTexts{"VEXA CredPro ~CVexaFPCredential"});
}

TEST_CASE("a logon's result hides the window by its substatus")
{
    Tile tile;
    REQUIRE(tile.dll.WaitForSensorFailed());
    struct Row {
        DWORD status, substatus;
        BOOL visible;
    };
    for (const Row& row : {Row{0xC000006E, 0xC000006F, TRUE}, Row{0, 1, TRUE}, Row{0xC000006D, 0, FALSE}}) {
        CAPTURE(row.status);
        PWSTR text = nullptr;
        auto icon = CPSI_WARNING;
        CHECK(tile.credential->ReportResult(NTSTATUS(row.status), NTSTATUS(row.substatus), &text, &icon) ==
              E_NOTIMPL);
        CHECK((text == nullptr && icon == CPSI_WARNING));
        CHECK(IsWindowVisible(FindEventWindow()) == row.visible);
    }
}

} // namespace
