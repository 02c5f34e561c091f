#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <quarn/quarn.h>

/// A test with a state of its own that knows vectors. `Play` carries out a line and returns what it prints.
class StateTest : public testing::Test {
protected:
    StateTest() {
        state.SetStreams(input, output);
        Quarn::Vector::Register(state);
    }

    std::string Play(std::string_view line) {
        output.str("");
        state.ParseLine(line);
        return output.str();
    }

    std::istringstream input;
    std::ostringstream output;
    Quarn::State state;
};
