#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "model/FileItem.h"

namespace kestrel {

// What a file is doing, what has become of it, or what it waits for. Every front shows a file through this;
// it adds an icon and a colour by the kind. All words are German.
struct FileState {
    enum class Kind {
        notProbed,
        unreadable,
        incomplete,
        leftAlone,
        nothingToDo,
        notChecked,
        ready,
        sampling,
        queued,
        analyzing,
        running,
        uploading,
        done,
        noSavings,
        failed
    };

    Kind kind = Kind::notProbed;
    std::optional<double> fraction;     // 0 … 1, of what moves
    double fps = 0;                     // running: of the encoder; 0 until it is known
    std::int64_t before = 0, after = 0; // bytes; done and noSavings
    // unreadable, leftAlone, failed and a measured noSavings: why; done: what else is to be known. May hold
    // the words of a program, with line breaks and broken bytes.
    std::string reason;
    std::string explanation;    // unreadable and failed: the whole text, in the same way
    bool isSearch = false;      // analyzing: it searches for the quality, else it measures once
    std::optional<int> quality; // running: the CRF that a search has found,
    std::optional<double> vmaf; // and its mean score

    static FileState of(const FileItem &item);

    bool isInWork() const
    {
        return kind == Kind::analyzing || kind == Kind::running || kind == Kind::uploading;
    }
    bool hasEnded() const { return kind == Kind::done || kind == Kind::noSavings || kind == Kind::failed; }

    // In a table's cell: two lines at most, shorter where there is no room, and an explanation.
    std::string title() const;
    std::string detail() const;
    std::string briefTitle() const; // empty: as title()
    std::string help() const;
    // All of it in one sentence.
    std::string sentence() const;
    // For somebody who reads along what happens to many files.
    std::string line() const;
    // In a list of what runs and of what has ended.
    std::string brief() const;
    // The word for --json.
    std::string_view id() const;

private:
    std::string sizes() const;
    std::string change() const;
    std::string progress() const;
};

std::string_view word(FileState::Kind kind);

} // namespace kestrel
