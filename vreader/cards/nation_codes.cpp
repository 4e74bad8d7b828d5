// The ethnic groups' names and codes of the national standard GB/T 3304.
#include "vreader/cards/identity_fields.h"

namespace vreader
{

namespace
{

// From code 01 on, in the order of the codes.
constexpr const char *kNations[] = {
    "汉",     "蒙古",   "回",       "藏",     "维吾尔",   "苗",   "彝",     "壮",
    "布依",   "朝鲜",   "满",       "侗",     "瑶",       "白",   "土家",   "哈尼",
    "哈萨克", "傣",     "黎",       "傈僳",   "佤",       "畲",   "高山",   "拉祜",
    "水",     "东乡",   "纳西",     "景颇",   "柯尔克孜", "土",   "达斡尔", "仫佬",
    "羌",     "布朗",   "撒拉",     "毛南",   "仡佬",     "锡伯", "阿昌",   "普米",
    "塔吉克", "怒",     "乌孜别克", "俄罗斯", "鄂温克",   "德昂", "保安",   "裕固",
    "京",     "塔塔尔", "独龙",     "鄂伦春", "赫哲",     "门巴", "珞巴",   "基诺",
};

struct OtherNation
{
    const char *name;
    const char *code;
};

constexpr OtherNation kOthers[] = {{"其他", "97"}, {"外国血统中国籍人士", "98"}};

} // namespace

std::string NationCode(const std::string &name)
{
    for (size_t i = 0; i < std::size(kNations); ++i)
        if (name == kNations[i])
            return std::string(i < 9 ? "0" : "") + std::to_string(i + 1);
    for (const OtherNation &other : kOthers)
        if (name == other.name)
            return other.code;
    return "";
}

} // namespace vreader
