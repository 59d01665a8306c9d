#include "quality/VmafModel.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "quality/ModelFile.h"

namespace kestrel::VmafModel {

namespace {

using Features = std::array<double, 6>; // adm2, motion2, vif at four scales

struct SupportVector {
    double weight = 0;
    Features at = {};
};

struct Model {
    double gamma = 0, rho = 0;
    std::vector<SupportVector> vectors;
    Features slopes = {}, intercepts = {};
    double scoreSlope = 0, scoreIntercept = 0;
    double lowest = 0, highest = 0;
};

// Reads one line for each support vector: its weight, then the coordinates that are not zero as NUMBER:VALUE.
SupportVector parseVector(const std::string &line)
{
    SupportVector vector;
    std::istringstream words(line);
    words.imbue(std::locale::classic());
    words >> vector.weight;
    std::size_t number = 0;
    char colon = 0;
    double value = 0;
    while (words >> number >> colon >> value)
        vector.at.at(number - 1) = value;
    return vector;
}

Model readModel()
{
    Model model;
    std::istringstream lines(ModelFile::vectors);
    bool isHeader = true;
    for (std::string line; std::getline(lines, line);) {
        if (!isHeader) {
            model.vectors.push_back(parseVector(line));
        } else if (line.starts_with("gamma ")) {
            model.gamma = std::stod(line.substr(6));
        } else if (line.starts_with("rho ")) {
            model.rho = std::stod(line.substr(4));
        } else if (line == "SV") {
            isHeader = false;
        }
    }
    model.scoreSlope = ModelFile::slopes[0];
    model.scoreIntercept = ModelFile::intercepts[0];
    for (std::size_t i = 0; i < model.slopes.size(); ++i) {
        model.slopes.at(i) = ModelFile::slopes.at(i + 1);
        model.intercepts.at(i) = ModelFile::intercepts.at(i + 1);
    }
    model.lowest = ModelFile::scoreClip[0];
    model.highest = ModelFile::scoreClip[1];
    return model;
}

} // namespace

double score(double adm2, double motion2, const std::array<double, 4> &vif)
{
    static const Model model = readModel();
    Features features{adm2, motion2, vif[0], vif[1], vif[2], vif[3]};
    for (std::size_t i = 0; i < features.size(); ++i)
        features[i] = features[i] * model.slopes[i] + model.intercepts[i];
    double sum = -model.rho;
    for (const SupportVector &vector : model.vectors) {
        double distance = 0;
        for (std::size_t i = 0; i < features.size(); ++i)
            distance += (features[i] - vector.at[i]) * (features[i] - vector.at[i]);
        sum += vector.weight * std::exp(-model.gamma * distance);
    }
    return std::clamp((sum - model.scoreIntercept) / model.scoreSlope, model.lowest, model.highest);
}

} // namespace kestrel::VmafModel
