#pragma once

namespace tessary {

// One visitor of several lambdas, for std::visit over the program's variants.
template <typename... Ts>
struct Overloaded : Ts... {
    using Ts::operator()...;
};
template <typename... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

} // namespace tessary
