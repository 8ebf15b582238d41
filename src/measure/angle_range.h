#pragma once

namespace quorl::meldra3d::detail {

/// The smallest and the largest of some values: the first starts both, the others update them. A NaN that comes first
/// therefore stays, and a later one is passed over.
class angle_range {
public:
    angle_range() = default;
    angle_range(double least, double most) : least_(least), most_(most) {}

    void include(double value) {
        if (value < least_)
            least_ = value;
        if (value > most_)
            most_ = value;
    }

    void include(const angle_range& others) {
        include(others.least_);
        include(others.most_);
    }

    double least() const { return least_; }
    double most() const { return most_; }

private:
    double least_ = 0;
    double most_ = 0;
};

} // namespace quorl::meldra3d::detail
