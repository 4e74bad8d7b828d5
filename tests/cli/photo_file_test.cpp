// The file of an identity photo: its name, the way to it, and what the codes mean.
#include "photo_file.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "standins/photo/photo_room.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing_support::PhotoRoom;
using namespace tool;

TEST(PhotoName, EndsLikeAPicture)
{
    const PhotoRoom room;
    for (const char *name : {"a.bmp", "a.jpg", "a.jpeg", "a.png", "a.gif", "a.PNG", "./a.Jpg", ""})
        EXPECT_EQ(CheckPhotoPath(name), "") << name;
    for (const char *name : {"a", "a.tif", "a.bmp.d", ".png", "a.", "."})
        EXPECT_EQ(CheckPhotoPath(name), std::string("--photo takes a file name that ends in .bmp, "
                                                    ".jpg, .png or .gif, not \"") +
                                            name + "\"");
}

TEST(PhotoName, IsInADirectoryThatIsThere)
{
    const PhotoRoom room;
    EXPECT_EQ(CheckPhotoPath("none/a.bmp"), "cannot write none/a.bmp: there is no directory none");
    EXPECT_FALSE(fs::exists("none"));
    testing_support::WriteFile("file", "");
    EXPECT_EQ(CheckPhotoPath("file/a.bmp"), "cannot write file/a.bmp: there is no directory file");
    fs::create_directory("old.bmp");
    EXPECT_EQ(CheckPhotoPath("old.bmp"), "cannot write old.bmp: it is a directory");
}

TEST(PhotoPlace, IsADirectoryOfItsOwnThatGoesAgain)
{
    const PhotoRoom room;
    const PhotoPlace place = MakePhotoPlace("some.bmp.d/face.JPEG");
    EXPECT_EQ(place.path, place.directory + "/photo.jpg");
    EXPECT_EQ(fs::status(place.directory).permissions(), fs::perms::owner_all);
    testing_support::WriteFile(place.path, "picture");
    testing_support::WriteFile(place.directory + "/temp.bmp", "left over");
    testing_support::WriteFile("face.JPEG", "an older and longer one");
    EXPECT_EQ(CopyPhoto(place, "face.JPEG"), "");
    EXPECT_EQ(testing_support::ReadFile("face.JPEG"), "picture");
    EXPECT_EQ(CopyPhoto(place, "none/face.jpg"),
              "the photo could not be written to none/face.jpg: No such file or directory");
    RemovePhotoPlace(place);
    EXPECT_FALSE(fs::exists(place.directory));
    RemovePhotoPlace({}); // nothing
}

TEST(PhotoTrouble, TellsAMissingLibraryFromOneThatIsOfNoUse)
{
    const PhotoRoom room;
    const std::string here = fs::current_path().string();
    EXPECT_EQ(ExplainPhoto(-1014, "a.png").meaning, "no photo: there is no libwlt.so in " + here);
    EXPECT_EQ(ExplainPhoto(-1009, "a.png").meaning,
              "no photo: there is no libPicConvert.so in " + here);
    testing_support::WriteFile("libwlt.so", "no library");
    testing_support::WriteFile("libPicConvert.so", "no library");
    EXPECT_EQ(ExplainPhoto(-1014, "a.png").meaning,
              "no photo: libwlt.so in " + here + " could not be loaded");
    EXPECT_EQ(ExplainPhoto(-1009, "a.png").meaning,
              "no photo: libPicConvert.so in " + here + " could not be loaded");
    EXPECT_EQ(ExplainPhoto(-1000, "a.png").meaning,
              "no photo: libwlt.so in " + here + " has no entry \"unpack\"");
    EXPECT_EQ(ExplainPhoto(-1010, "a.png").meaning,
              "no photo: libPicConvert.so in " + here + " has no entry \"BmpToJpg\"");
    EXPECT_THAT(ExplainPhoto(-3, "a.png").meaning, HasSubstr("refused the photo of this card"));
    EXPECT_EQ(ExplainPhoto(-35, "a.PNG").meaning,
              "no photo: the converter refused to make a .png file");
}
