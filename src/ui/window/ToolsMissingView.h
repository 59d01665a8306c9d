#pragma once

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Instead of everything else, where there is no ffmpeg.
class ToolsMissingView : public QWidget {
    Q_OBJECT

public:
    explicit ToolsMissingView(AppModel &model, QWidget *parent = nullptr);
};

} // namespace kestrel
