#pragma once
// A small ext4 file system in an image file, loop-mounted for a test: the proof
// that overwritten data is gone from the disk itself. Usable() is false where
// mkfs.ext4 or loop mounts are not available (not root, a sandbox).
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/TestProcess.hpp"

namespace velloran::test {

class Ext4Image {
public:
    Ext4Image()
        : dir_(MakeTempDir("velloran-ext4")), image_(dir_ / "disk.img"), mnt_(dir_ / "mnt") {
        std::filesystem::create_directories(mnt_);
        const std::string mk = "truncate -s 32M '" + image_.string() + "' && mkfs.ext4 -q -F '" +
                               image_.string() + "' >/dev/null 2>&1";
        usable_ = std::system(mk.c_str()) == 0 && Mount();
    }
    ~Ext4Image() {
        if (mounted_) Unmount();
        std::filesystem::remove_all(dir_);
    }
    Ext4Image(const Ext4Image&) = delete;
    Ext4Image& operator=(const Ext4Image&) = delete;

    bool Usable() const { return usable_; }
    const std::filesystem::path& Root() const { return mnt_; }
    bool Mount() {
        mounted_ = std::system(("mount -o loop '" + image_.string() + "' '" + mnt_.string() +
                                "' 2>/dev/null")
                                   .c_str()) == 0;
        return mounted_;
    }
    bool Unmount() {
        mounted_ = std::system(("umount '" + mnt_.string() + "'").c_str()) != 0;
        return !mounted_;
    }
    // Whether the raw image holds `marker` anywhere (unmount first).
    bool Holds(const std::string& marker) const {
        std::ifstream in(image_, std::ios::binary);
        const std::string all((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
        return all.find(marker) != std::string::npos;
    }

private:
    std::filesystem::path dir_, image_, mnt_;
    bool usable_ = false;
    bool mounted_ = false;
};

}  // namespace velloran::test
