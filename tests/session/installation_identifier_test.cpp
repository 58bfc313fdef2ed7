#include "quorel/session/installation_identifier.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <set>
#include <thread>
#include <vector>

#include "quorel/foundation/uuid.h"

namespace quorel {
namespace {

namespace fs = std::filesystem;

class InstallationIdentifierTest : public testing::Test {
protected:
    InstallationIdentifierTest() {
        std::string pattern = (fs::temp_directory_path() / "quorel-id-XXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    ~InstallationIdentifierTest() override { fs::remove_all(folder); }

    std::string identifier(const fs::path& state) { return *InstallationIdentifier(state).identifierForVendor(); }
    static fs::perms permissions(const fs::path& path) { return fs::status(path).permissions(); }
    std::string content() const {
        std::ifstream in(folder / "state/quorel/installation-id");
        return {std::istreambuf_iterator<char>(in), {}};
    }

    fs::path folder;
};

TEST_F(InstallationIdentifierTest, IsMadeOnceAndPrivate) {
    const std::string first = identifier(folder / "state");
    EXPECT_EQ(UUID::parse(first).value_or(UUID()).string(), first);
    EXPECT_EQ(first[14], '4') << "a random one, as RFC 9562 has it";
    EXPECT_EQ(identifier(folder / "state"), first);
    EXPECT_EQ(content(), first + "\n");
    EXPECT_EQ(permissions(folder / "state/quorel/installation-id"), fs::perms(0600));
    EXPECT_EQ(permissions(folder / "state/quorel"), fs::perms(0700));
    EXPECT_EQ(permissions(folder / "state"), fs::perms(0700));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "state/quorel"), {}), 1) << "no draft stays behind";
}

TEST_F(InstallationIdentifierTest, WhatIsNoUUIDIsReplaced) {
    fs::create_directories(folder / "state/quorel");
    for (const std::string garbage : {"", "no uuid", "6F9619FF-8B86-4D01-B42D-00CF4FC964F", "\xff\xfe"}) {
        std::ofstream(folder / "state/quorel/installation-id") << garbage;
        const std::string made = identifier(folder / "state");
        EXPECT_EQ(content(), made + "\n");
    }
    std::ofstream(folder / "state/quorel/installation-id") << "  6f9619ff-8b86-4d01-b42d-00cf4fc964ff\n\n";
    EXPECT_EQ(identifier(folder / "state"), "6F9619FF-8B86-4D01-B42D-00CF4FC964FF");
}

TEST_F(InstallationIdentifierTest, LivesInMemoryWhereNothingCanBeKept) {
    std::ofstream(folder / "file") << "in the way";
    for (const fs::path& state :
         {fs::path(), folder / "file", fs::path("/proc/self/fdinfo"), fs::path("/dev/null")}) {
        InstallationIdentifier one(state);
        EXPECT_TRUE(UUID::parse(*one.identifierForVendor()));
        EXPECT_EQ(one.identifierForVendor(), one.identifierForVendor());
        EXPECT_NE(one.identifierForVendor(), identifier(state));
    }
}

TEST_F(InstallationIdentifierTest, AllWhoMakeItAtOnceAgree) {
    std::vector<std::string> found(8);
    std::vector<std::thread> threads;
    for (std::string& one : found) threads.emplace_back([&] { one = identifier(folder / "state"); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()).size(), 1u);
}

TEST_F(InstallationIdentifierTest, StandsInTheUsersStateFolder) {
    setenv("HOME", "/home/someone", 1);
    setenv("XDG_STATE_HOME", "/elsewhere", 1);
    EXPECT_EQ(InstallationIdentifier::defaultStateFolder(), "/elsewhere");
    setenv("XDG_STATE_HOME", "relative", 1);
    EXPECT_EQ(InstallationIdentifier::defaultStateFolder(), "/home/someone/.local/state");
}

}  // namespace
}  // namespace quorel
