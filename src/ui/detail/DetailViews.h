#pragma once

#include <functional>

#include "planning/SampleResult.h"
#include "ui/detail/DetailText.h"
#include "ui/detail/SearchText.h"
#include "ui/detail/TrackText.h"

class QWidget;

// Build the contents of the detail sheet's sections from what they show. REQUIRES: the caller gives them a
// parent.
namespace kestrel::DetailViews {

QWidget *facts(const std::vector<DetailText::Fact> &facts);
QWidget *tracks(const TrackText::Tracks &tracks);
QWidget *estimate(const DetailText::Estimate &estimate);
QWidget *search(const SearchText::Search &search, const SampleResult &sample);
// Shows why there is no search, with a button where one can be made.
QWidget *noSearch(const QString &why, const std::function<void()> &measure);

} // namespace kestrel::DetailViews
