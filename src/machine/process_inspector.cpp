#include "machine/process_inspector.h"

namespace tarn::machine {

bool DrivePathFromDevicePath(std::u16string_view devicePath, const DosDeviceQuery& dosDevice, base::PathBuffer& path) {
    // The device prefix has two components: the third backslash begins the path on the drive.
    const std::size_t second = devicePath.find(u'\\', 1);
    if (second == std::u16string_view::npos) return false;
    const std::size_t third = devicePath.find(u'\\', second + 1);
    if (third == std::u16string_view::npos) return false;
    if (!base::Succeeded(base::FormatText(path, {u"x:", devicePath.substr(third)}))) return false;

    for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
        // QUIRK: the name asked for is "X:" followed by the letter, not the letter followed by ":", so on a usual
        // system no letter answers.  Test: DevicePath_AsksForTheThreeCharacterName
        const char16_t name[] = {u'X', u':', letter, u'\0'};
        std::array<char16_t, 259> target{};
        if (!dosDevice(name, target)) continue;
        const std::u16string_view device = base::FieldText(target);
        if (device.empty() || !devicePath.starts_with(device)) continue;
        path[0] = letter;
        return true;
    }
    return false;
}

}  // namespace tarn::machine
