#include <Telvora/Platform/Linux/Machine/LinuxApplication.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace telvora::detail {
namespace {

constexpr auto cydia = "cydia://package/com.example.package";

class LinuxApplicationTest : public testing::Test {
protected:
    static LinuxApplication::Folders folders()
    {
        return { "/home/u/.config:/etc/xdg", "/home/u/.local/share::/usr/share:", "GNOME" };
    }

    void install(const std::string& entry, const std::string& more = {})
    {
        tree.write("/usr/share/applications/" + entry,
            "[Desktop Entry]\nType=Application\nExec=/bin/false\n" + more);
    }

    void writeRegister(
        const std::string& path, const std::string& group, const std::string& entries)
    {
        tree.write(path, "[" + group + "]\nx-scheme-handler/cydia=" + entries + "\n");
    }

    TemporaryTree tree;
    LinuxApplication application { SystemFiles(tree.path()), folders() };
};

TEST_F(LinuxApplicationTest, NothingOpensOnAMachineWithoutADesktop)
{
    EXPECT_FALSE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, AnInstalledHandlerInTheCacheOpensItsScheme)
{
    install("store.desktop");
    writeRegister("/usr/share/applications/mimeinfo.cache", "MIME Cache", "store.desktop;");

    EXPECT_TRUE(application.canOpenURL(cydia));
    EXPECT_TRUE(application.canOpenURL("CYDIA:x"));
    EXPECT_FALSE(application.canOpenURL("cydia2://x"));
    EXPECT_FALSE(application.canOpenURL("http://cydia"));
}

TEST_F(LinuxApplicationTest, TheUsersOwnChoiceCounts)
{
    install("store.desktop");
    writeRegister("/home/u/.config/mimeapps.list", "Default Applications", "store.desktop");

    EXPECT_TRUE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, ADesktopsOwnRegisterCounts)
{
    install("store.desktop");
    writeRegister("/etc/xdg/gnome-mimeapps.list", "Default Applications", "store.desktop");

    EXPECT_TRUE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, AHandlerThatIsNotInstalledOpensNothing)
{
    writeRegister("/usr/share/applications/mimeinfo.cache", "MIME Cache", "gone.desktop;");
    EXPECT_FALSE(application.canOpenURL(cydia));

    install("second.desktop");
    writeRegister(
        "/usr/share/applications/mimeinfo.cache", "MIME Cache", "gone.desktop;second.desktop;");
    EXPECT_TRUE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, AHiddenHandlerOpensNothing)
{
    install("store.desktop", "Hidden=true\n");
    writeRegister("/usr/share/applications/mimeinfo.cache", "MIME Cache", "store.desktop;");

    EXPECT_FALSE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, TheUserMayRemoveAHandler)
{
    install("store.desktop");
    writeRegister("/home/u/.config/mimeapps.list", "Removed Associations", "store.desktop");
    writeRegister("/usr/share/applications/mimeinfo.cache", "MIME Cache", "store.desktop;");

    EXPECT_FALSE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, AHandlerMayBeInAFolder)
{
    install("kde/tools/store.desktop");
    writeRegister(
        "/usr/share/applications/mimeinfo.cache", "MIME Cache", "kde-tools-store.desktop;");

    EXPECT_TRUE(application.canOpenURL(cydia));
}

TEST_F(LinuxApplicationTest, ATextWithoutASchemeOpensNothing)
{
    tree.write("/usr/share/applications/mimeinfo.cache",
        "[MIME Cache]\nx-scheme-handler/=store.desktop\nx-scheme-handler/1=store.desktop\n");
    install("store.desktop");

    for (const char* text : { "", ":", "://x", "1:x", "cydia", "cy dia:x", "../../x:y" })
        EXPECT_FALSE(application.canOpenURL(text)) << text;
}

TEST_F(LinuxApplicationTest, TheEnvironmentSaysWhereToLook)
{
    ::setenv("XDG_CONFIG_HOME", "/c", 1);
    ::setenv("XDG_CONFIG_DIRS", "/c1:/c2", 1);
    ::setenv("XDG_DATA_HOME", "/d", 1);
    ::setenv("XDG_DATA_DIRS", "/d1::/d2", 1);
    ::setenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME", 1);

    const auto folders = LinuxApplication::foldersOfEnvironment();

    EXPECT_EQ(folders.config, "/c:/c1:/c2");
    EXPECT_EQ(folders.data, "/d:/d1::/d2");
    EXPECT_EQ(folders.desktops, "ubuntu:GNOME");
}

} // namespace
} // namespace telvora::detail
