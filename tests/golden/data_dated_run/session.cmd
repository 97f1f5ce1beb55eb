INDAT dated
INDAT frame
END
