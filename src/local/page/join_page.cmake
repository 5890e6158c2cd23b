# Joins the page's sources into two pieces of text: each has one document, one style sheet and one
# script, which is made of many files. An edit of any of them takes part in the next build.

# page_text(VARIABLE FILE...): the files' text, one behind the other, without what is for the
# sources' readers: comments that take whole lines of a script, those of a style sheet, indentation.
# A line of a piece's document that begins with no tag goes on with what the line before began, in a
# text as in a tag: a blank stands between the two.
function(page_text variable)
    set(joined "")
    foreach(file IN LISTS ARGN)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                     ${CMAKE_CURRENT_SOURCE_DIR}/page/${file})
        file(READ page/${file} text)
        if(file MATCHES "\\.css$")
            string(REGEX REPLACE "/\\*[^*]*\\*/" "" text "${text}")
        elseif(file MATCHES "\\.js$")
            string(REGEX REPLACE "(^|\n) *//[^\n]*" "\\1" text "${text}")
        elseif(file MATCHES "/.*\\.html$")
            string(REGEX REPLACE "\n +([^< \n])" " \\1" text "${text}")
        endif()
        string(REGEX REPLACE "\n +" "\n" text "${text}")
        string(REGEX REPLACE "\n\n+" "\n" text "${text}")
        string(APPEND joined "${text}")
    endforeach()
    set(${variable} "${joined}" PARENT_SCOPE)
endfunction()

# page_piece(VARIABLE HTML CSS JS...): the document with style and script in their places.
function(page_piece variable html css)
    page_text(document ${html})
    page_text(PAGE_STYLE ${css})
    page_text(PAGE_SCRIPT ${ARGN})
    string(CONFIGURE "${document}" document @ONLY)
    set(${variable} "${document}" PARENT_SCOPE)
endfunction()

# page_line(VARIABLE FILE): the file in one line.
function(page_line variable file)
    page_text(text ${file})
    string(REPLACE "\n" "" text "${text}")
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()

page_line(DIAGNOSTICS_PAGE diagnostics.html)

page_piece(SHELL_PIECE shell/page.html shell/page.css
    shell/state.js
    shell/elements.js
    shell/api.js
    shell/shared_commands.js
    shell/systems.js
    shell/header.js
    shell/work_area.js
    shell/notices.js
    shell/dialogs.js
    shell/fullscreen.js
    shell/setup_dialog.js
    shell/setup_save.js
    shell/polling.js)

page_piece(PROTECTION_PIECE protection/panel.html protection/panel.css
    protection/health.js
    protection/banner.js
    protection/alert_sound.js
    protection/fields.js
    protection/policy_form.js
    protection/output_rules.js
    protection/actions.js
    protection/alert_list.js
    protection/protection_dialog.js
    protection/protection_posts.js
    protection/protection_render.js)

configure_file(page/page_text.cpp.in page_text.cpp @ONLY)
