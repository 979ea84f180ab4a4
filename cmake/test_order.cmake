# Read by CTest after the discovered tests: the longest tests start first, so
# that with two at a time none of them is left running alone at the end.
# The year's end with mail takes minutes under the sanitizers.
set_tests_properties("Runs/GoldenRun.WritesTheSameFilesAndModel/yearendmail" PROPERTIES COST 2000)
foreach(test
    "MonitorTcp.ManyConnectAndDropCyclesLeaveTheServerSampling"
    "ServerOnHost.AOneMinuteIntervalBacksAFolderUpThroughTheRealCompanion"
    "Runs/GoldenRun.WritesTheSameFilesAndModel/operator"
    "Runs/GoldenRun.WritesTheSameFilesAndModel/day"
    "Runs/GoldenRun.WritesTheSameFilesAndModel/monthend"
    "Runs/GoldenRun.WritesTheSameFilesAndModel/monthendmail"
    "Runs/GoldenRun.WritesTheSameFilesAndModel/yearend"
    "MailRun.TheDailyReportLeavesAtTheLastMinuteToEveryRecipient")
  set_tests_properties("${test}" PROPERTIES COST 1000)
endforeach()
