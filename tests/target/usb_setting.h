// The settings in which a host uses the reader over USB, and the reports that show them.
#pragma once

#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/host_library.h"
#include "target/usb_reader.h"

namespace target
{

struct Setting
{
    const char *name;
    const char *devtype;
    const char *iccmd;
    const char *icModeId;  // of the IC command link
    const char *rawModeId; // of the escape sequences
};

inline void PrintTo(const Setting &setting, std::ostream *out)
{
    *out << setting.name;
}

inline std::string SettingName(const testing::TestParamInfo<Setting> &setting)
{
    return setting.param.name;
}

constexpr Setting kSettings[] = {{"ModeIdsKrel", "0", "0", "02", "01"},
                                 {"ModeIdsUnion", "0", "1", "02", "01"},
                                 {"NoModeIdsKrel", "1", "0", "00", "00"},
                                 {"NoModeIdsUnion", "1", "1", "00", "00"}};

inline std::string ConfigFor(const Setting &setting)
{
    using testing_support::WithSetting;
    return WithSetting(WithSetting(testing_support::ShippedConfig(), "devtype", setting.devtype),
                       "Iccmd", setting.iccmd);
}

// The output reports since the last "usb clear": mode id and payload length of each, "020B".
inline std::vector<std::string> Reports(const UsbReader &reader)
{
    std::istringstream words(reader.Control("usb reports"));
    std::vector<std::string> reports{std::istream_iterator<std::string>(words), {}};
    reports.erase(reports.begin()); // "ok"
    return reports;
}

inline std::set<std::string> ModeIds(const UsbReader &reader)
{
    std::set<std::string> ids;
    for (const std::string &report : Reports(reader))
        ids.insert(report.substr(0, 2));
    return ids;
}

} // namespace target
