#pragma once
// The About box: product, version, the system it runs on and where it works.
#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

class Application;

class frmAbout : public Form {
public:
    explicit frmAbout(Application& app);

    Label lblTitle{"lblTitle"}, lblVersion{"lblVersion"}, lblSystem{"lblSystem"},
        lblTarget{"lblTarget"}, lblDescription{"lblDescription"};
    CommandButton cmdOK{"cmdOK"};

protected:
    void Form_Load() override;

private:
    Application& app_;
};

}  // namespace velloran
