/// \file
/// A condition as ExprTk evaluates it, kept apart since its one header takes long to compile.
#pragma once

#include <memory>
#include <string>
#include <vector>

class ExprTkCondition {
  public:
    /// Compiles `text` in the syntax of trigger conditions; `variables` has a value for each of `names`,
    /// which it reads at each evaluation. Throws `std::runtime_error`.
    ExprTkCondition(std::string text, const std::vector<std::string>& names, std::vector<double>& variables);
    ExprTkCondition(ExprTkCondition&&) noexcept;
    ~ExprTkCondition();

    double value() const;

  private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled;
};
