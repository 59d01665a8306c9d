#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "model/FileItem.h"

namespace kestrel {

// Describes what a file is doing, how it ended, or what it waits for. Every front shows a file through this,
// and adds an icon and a colour by the kind. All words are German.
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
    std::optional<double> fraction;     // 0 … 1; for states that progress
    double fps = 0;                     // running: of the encoder; 0 until it is known
    std::int64_t before = 0, after = 0; // bytes; done and noSavings
    // For unreadable, leftAlone, failed and a measured noSavings, the reason; for done, what else should be
    // known. May contain a program's text, with line breaks and broken bytes.
    std::string reason;
    std::string explanation;    // for unreadable and failed: the whole text, likewise unprocessed
    bool isSearch = false;      // analyzing: whether it searches for the quality, or measures once
    std::optional<int> quality; // running: the CRF that a search has found
    std::optional<double> vmaf; // running: its mean score

    static FileState of(const FileItem &item);

    bool isInWork() const
    {
        return kind == Kind::analyzing || kind == Kind::running || kind == Kind::uploading;
    }
    bool hasEnded() const { return kind == Kind::done || kind == Kind::noSavings || kind == Kind::failed; }

    // Return the texts of a table's cell: at most two lines, a shorter one where room is lacking, and an
    // explanation.
    std::string title() const;
    std::string detail() const;
    std::string briefTitle() const; // empty: as title()
    std::string help() const;
    // Returns all of it in one sentence.
    std::string sentence() const;
    // Returns it for a list of events of many files.
    std::string line() const;
    // Returns it for a list of files in work and ended.
    std::string brief() const;
    // Returns the word for --json.
    std::string_view id() const;

private:
    std::string sizes() const;
    std::string change() const;
    std::string progress() const;
};

std::string_view word(FileState::Kind kind);

} // namespace kestrel
