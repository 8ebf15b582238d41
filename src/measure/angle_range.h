#pragma once

namespace quorl::meldra3d::detail {

/// The smallest and the largest of some values: the first starts both, the others update them. A NaN that comes first
/// therefore stays, and a later one is passed over.
class angle_range {
public:
    explicit angle_range(double first) : least_(first), most_(first) {}

    void include(double value) {
        if (value < least_)
            least_ = value;
        if (value > most_)
            most_ = value;
    }

    double least() const { return least_; }
    double most() const { return most_; }

private:
    double least_;
    double most_;
};

} // namespace quorl::meldra3d::detail
