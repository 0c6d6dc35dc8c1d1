module samples

go 1.19

require varnel v1.0.0

replace varnel => ../interop/go
