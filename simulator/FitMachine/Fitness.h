// What makes a machine fit for a fingerprint tile, piece by piece: sensor, switch, pre-boot library, and
// whether the library was asked already. All of it is real in the Wine prefix; only a sensor's problem code
// is not, see DevicesState in WindowsModel/System.h.
#pragma once

#include "base/Handle.h"

#include <filesystem>
#include <optional>
#include <string>

namespace FitMachine {

/// The folder of this program, where all that was built lies.
std::filesystem::path BuildFolder();

/// Pulls the sensor out.
void PullOut();

/// The setting "Enable" where 32-bit programs see it; nothing takes the value away.
bool SetSwitch(std::optional<DWORD> enable);

/// The lock-out limit of config.ini.
bool SetLimit(int enable, int count);

/// Copies the library, or with a name like "close" the one that lacks that function, from the build folder to
/// the system folder. Fails when this process has another one loaded already.
bool InstallPreBootLibrary(const std::wstring& lacking = {});
/// Fails while the library is loaded.
bool RemovePreBootLibrary();
/// The provider never frees the library, and while it is loaded another can't take its place.
void UnloadPreBootLibrary();

/// The event that marks the library as asked, made when it is not there. The mark lasts as long as any
/// process holds it.
KernelHandle OpenPreBootMark();

/// A machine with a sensor of the second model, switched on, with an unscripted library that nobody has
/// asked. Takes the sensor, the switch and the library's script away at its end; the library stays, for it
/// may be loaded.
class Scope {
public:
    Scope();
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    /// False when it could not be made so.
    bool IsFit() const { return m_fit; }
    /// As after a start of Windows: the next check asks the library again.
    void ForgetCheck() const { ResetEvent(m_mark.Get()); }
    void MarkChecked() const { SetEvent(m_mark.Get()); }
    bool IsChecked() const { return WaitForSingleObject(m_mark.Get(), 0) == WAIT_OBJECT_0; }
    /// Leaves the mark to others: it is gone when nobody holds it.
    void GiveMarkUp() { m_mark.Reset(); }

private:
    bool m_fit;
    KernelHandle m_mark;
};

} // namespace FitMachine
