#include "platform/linux/AtspiRoles.h"

#include <atspi/atspi-constants.h>

namespace varnelle {
namespace {

std::string_view textRole(AtspiStates states) {
    if (hasState(states, ATSPI_STATE_MULTI_LINE)) return "AXTextArea";
    return hasState(states, ATSPI_STATE_EDITABLE) ? "AXTextField" : "AXStaticText";
}

}  // namespace

std::string_view storedRole(std::uint32_t role, AtspiStates states) {
    const bool isEditable = hasState(states, ATSPI_STATE_EDITABLE);
    switch (role) {
        case ATSPI_ROLE_APPLICATION:
            return "AXApplication";
        case ATSPI_ROLE_FRAME:
        case ATSPI_ROLE_WINDOW:
        case ATSPI_ROLE_DIALOG:
        case ATSPI_ROLE_ALERT:
        case ATSPI_ROLE_FILE_CHOOSER:
        case ATSPI_ROLE_COLOR_CHOOSER:
        case ATSPI_ROLE_FONT_CHOOSER:
        case ATSPI_ROLE_DESKTOP_FRAME:
            return "AXWindow";
        case ATSPI_ROLE_DOCUMENT_WEB:
        case ATSPI_ROLE_DOCUMENT_FRAME:
        case ATSPI_ROLE_DOCUMENT_EMAIL:
        case ATSPI_ROLE_HTML_CONTAINER:
            return "AXWebArea";
        case ATSPI_ROLE_SCROLL_PANE:
        case ATSPI_ROLE_VIEWPORT:
            return "AXScrollArea";

        case ATSPI_ROLE_TEXT:
        case ATSPI_ROLE_EDITBAR:
            return textRole(states);
        case ATSPI_ROLE_ENTRY:
        case ATSPI_ROLE_DATE_EDITOR:
            return hasState(states, ATSPI_STATE_MULTI_LINE) ? "AXTextArea" : "AXTextField";
        case ATSPI_ROLE_PASSWORD_TEXT:
            return "AXTextField";
        case ATSPI_ROLE_TERMINAL:
            return "AXTextArea";
        case ATSPI_ROLE_DOCUMENT_TEXT:
        case ATSPI_ROLE_PARAGRAPH:
        case ATSPI_ROLE_BLOCK_QUOTE:
            return isEditable ? "AXTextArea" : "AXGroup";
        case ATSPI_ROLE_SPIN_BUTTON:
            return isEditable ? "AXTextField" : "AXIncrementor";
        case ATSPI_ROLE_AUTOCOMPLETE:
            return "AXComboBox";
        case ATSPI_ROLE_COMBO_BOX:
            // One that can't be typed into is a button with a menu.
            return isEditable ? "AXComboBox" : "AXPopUpButton";
        case ATSPI_ROLE_LABEL:
        case ATSPI_ROLE_STATIC:
        case ATSPI_ROLE_CAPTION:
            return "AXStaticText";
        case ATSPI_ROLE_HEADING:
            return "AXHeading";

        case ATSPI_ROLE_LINK:
            return "AXLink";
        case ATSPI_ROLE_PUSH_BUTTON:
            return "AXButton";
        case ATSPI_ROLE_PUSH_BUTTON_MENU:
            return "AXPopUpButton";
        case ATSPI_ROLE_TOGGLE_BUTTON:
            return "AXToggle";
        case ATSPI_ROLE_CHECK_BOX:
            return "AXCheckBox";
        case ATSPI_ROLE_RADIO_BUTTON:
        case ATSPI_ROLE_PAGE_TAB:
            return "AXRadioButton";
        case ATSPI_ROLE_SLIDER:
        case ATSPI_ROLE_DIAL:
            return "AXSlider";
        case ATSPI_ROLE_SEPARATOR:
            // One that takes the focus can be moved.
            return hasState(states, ATSPI_STATE_FOCUSABLE) ? "AXSplitter" : "AXGroup";
        case ATSPI_ROLE_SPLIT_PANE:
            return "AXSplitGroup";
        case ATSPI_ROLE_SCROLL_BAR:
            return "AXScrollBar";
        case ATSPI_ROLE_PROGRESS_BAR:
            return "AXProgressIndicator";
        case ATSPI_ROLE_LEVEL_BAR:
        case ATSPI_ROLE_RATING:
            return "AXLevelIndicator";

        case ATSPI_ROLE_MENU_BAR:
            return "AXMenuBar";
        case ATSPI_ROLE_MENU:
        case ATSPI_ROLE_POPUP_MENU:
            return "AXMenu";
        case ATSPI_ROLE_MENU_ITEM:
        case ATSPI_ROLE_CHECK_MENU_ITEM:
        case ATSPI_ROLE_RADIO_MENU_ITEM:
        case ATSPI_ROLE_TEAROFF_MENU_ITEM:
            return "AXMenuItem";
        case ATSPI_ROLE_TOOL_BAR:
            return "AXToolbar";
        case ATSPI_ROLE_TOOL_TIP:
            return "AXHelpTag";
        case ATSPI_ROLE_PAGE_TAB_LIST:
            return "AXTabGroup";

        case ATSPI_ROLE_LIST:
        case ATSPI_ROLE_LIST_BOX:
        case ATSPI_ROLE_DESCRIPTION_LIST:
            return "AXList";
        case ATSPI_ROLE_TABLE:
            return "AXTable";
        case ATSPI_ROLE_TREE:
        case ATSPI_ROLE_TREE_TABLE:
            return "AXOutline";
        case ATSPI_ROLE_LIST_ITEM:
        case ATSPI_ROLE_TREE_ITEM:
        case ATSPI_ROLE_TABLE_ROW:
            return "AXRow";
        case ATSPI_ROLE_TABLE_CELL:
        case ATSPI_ROLE_TABLE_COLUMN_HEADER:
        case ATSPI_ROLE_TABLE_ROW_HEADER:
        case ATSPI_ROLE_COLUMN_HEADER:
        case ATSPI_ROLE_ROW_HEADER:
            return "AXCell";

        case ATSPI_ROLE_IMAGE:
        case ATSPI_ROLE_ICON:
        case ATSPI_ROLE_ANIMATION:
            return "AXImage";

        case ATSPI_ROLE_PANEL:
        case ATSPI_ROLE_FILLER:
        case ATSPI_ROLE_SECTION:
        case ATSPI_ROLE_FORM:
        case ATSPI_ROLE_GROUPING:
        case ATSPI_ROLE_LAYERED_PANE:
        case ATSPI_ROLE_ROOT_PANE:
        case ATSPI_ROLE_GLASS_PANE:
        case ATSPI_ROLE_OPTION_PANE:
        case ATSPI_ROLE_INTERNAL_FRAME:
        case ATSPI_ROLE_CANVAS:
        case ATSPI_ROLE_DRAWING_AREA:
        case ATSPI_ROLE_STATUS_BAR:
        case ATSPI_ROLE_INFO_BAR:
        case ATSPI_ROLE_CALENDAR:
        case ATSPI_ROLE_CHART:
        case ATSPI_ROLE_ARTICLE:
        case ATSPI_ROLE_LANDMARK:
        case ATSPI_ROLE_PAGE:
        case ATSPI_ROLE_DOCUMENT_SPREADSHEET:
        case ATSPI_ROLE_DOCUMENT_PRESENTATION:
            return "AXGroup";
        default:
            return "AXUnknown";
    }
}

}  // namespace varnelle
