return
call
call xyz
call main
call badone
echo on
call badone
echo off
call nest
call loader
call longnameprzzz
call long
call noret
call last
call beyond
inpro nothere
inpro other
call final
show
