(* The configuration language for Augeas, as deep as the benches' texts go: to load the same text as a neighbour.
   It keeps blanks and quotes as they stand and knows no more of the language than that. *)
module Appliance =

let eol = del /[ \t]*\n/ "\n"
let blank = del /[ \t]+/ " "
let indent = del /[ \t]*/ ""

let word = /"[^"\n]*"|[^ \t\n"]+/
let words = /[^ \t\n]([^\n]*[^ \t\n])?/
let quoted = /"([^"\\]|\\\\(.|\n))*"/
let bare = /[^ \t\n"]([^\n]*[^ \t\n])?/

let header = [ label "header" . store /#[^\n]*/ . del "\n" "\n" ]

let set = [ indent . key "set" . blank . store word . blank . [ label "value" . store (quoted|bare) ] . eol ]

let block (opening:string) (closing:string) (name:regexp) (child:lens) =
  [ indent . key opening . blank . store name . eol . child* . indent . del closing closing . eol ]

let inner_edit = block "edit" "next" word set
let inner_config = block "config" "end" word (set|inner_edit)
let edit = block "edit" "next" word (set|inner_config)
let config = block "config" "end" words (set|edit)

let lns = header* . config*
